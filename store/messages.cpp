#include "store/messages.h"

#include <string>

#include "store/store_state.h"
#include "text/localized.h"

namespace lumato::store {

void ShowNote(const Message& message) {
    Store().status->SetNotes(text::FitForControl(text::Localized(message.key, message.defaultText)));
}

void ShowNote(const Message& message, int number) {
    const std::string words = text::Localized(message.key, message.defaultText);
    Store().status->SetNotes(text::FitForControl(words + ": " + std::to_string(number)));
}

void ShowFailure(const Message& message, std::string_view reason) {
    ShowNote(message);
    Store().status->SetNoteDetail(FrameOnline() ? reason : "the frame is no longer connected");
}

void ShowNumbers() {
    StoreState& store = Store();
    if (store.gmyTotalePictureNum == 0)
        store.gmyCurrentSelectItem = 0;
    store.status->UpdateInfo();
}

}  // namespace lumato::store
