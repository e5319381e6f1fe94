#include "store/messages.h"

#include "store/store_state.h"

namespace lumato::store {

void ShowNote(const Phrase& note) {
    Store().status->SetNotes(note);
}

void ShowNote(const Words& note, int number) {
    ShowNote(Phrase(kNumbered, note, number));
}

void ShowFailure(const Phrase& note, const Phrase& reason) {
    ShowNote(note);
    Store().status->SetNoteDetail(FrameOnline() ? reason : kFrameGone);
}

void ShowNumbers() {
    StoreState& store = Store();
    if (store.gmyTotalePictureNum == 0)
        store.gmyCurrentSelectItem = 0;
    store.status->UpdateInfo();
}

}  // namespace lumato::store
