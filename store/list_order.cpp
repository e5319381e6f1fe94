#include "store/list_order.h"

#include <algorithm>
#include <array>
#include <vector>

#include "store/journal.h"
#include "store/picture_table.h"
#include "store/recovery.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using Slot = std::array<std::uint8_t, kSlotSize>;

// A picture together with its slot.
struct Place {
    FileData* record = nullptr;
    Slot slot{};
};

std::vector<Place> TakePlaces() {
    std::vector<Place> places;
    for (FileData* record = Store().gmyPictureData->sentinel->next; record != nullptr;
         record = record->next) {
        Place place{record, {}};
        std::ranges::copy(SlotOf(Store().G_PictureList, static_cast<int>(places.size()) + 1),
                          place.slot.begin());
        places.push_back(place);
    }
    return places;
}

void PutPlaces(const std::vector<Place>& places) {
    FileData* last = Store().gmyPictureData->sentinel;
    int position = 0;
    for (const Place& place : places) {
        last = last->next = place.record;
        std::ranges::copy(place.slot, SlotOf(Store().G_PictureList, ++position).begin());
    }
    last->next = nullptr;
}

// The positions from the lower to the higher one turn by one place.
int PositionAfterMove(int position, int from, int to) {
    if (position == from)
        return to;
    if (from < position && position <= to)
        return position - 1;
    return to <= position && position < from ? position + 1 : position;
}

std::vector<std::uint8_t> StoredSlots() {
    std::vector<std::uint8_t> slots;
    int position = 0;
    for (const FileData* record = Store().gmyPictureData->sentinel->next; record != nullptr;
         record = record->next) {
        const ByteSpan slot = SlotOf(Store().G_PictureList, ++position);
        if (record->inFrame == 1)
            slots.insert(slots.end(), slot.begin(), slot.end());
    }
    return slots;
}

}  // namespace

bool MovePicture(int from, int to) {
    StoreState& store = Store();
    const int count = store.gmyPictureData != nullptr ? store.gmyPictureData->count : 0;
    if (from < 1 || to < 1 || from > count || to > count || count > kMostPictures)
        return false;
    ResumeDownload();
    std::vector<Place> places = TakePlaces();
    const auto moved = places.begin() + (from - 1);
    if (from < to)
        std::rotate(moved, moved + 1, places.begin() + to);
    else
        std::rotate(places.begin() + (to - 1), moved, moved + 1);
    PutPlaces(places);
    ReserveSlots();
    store.gmyCurrentSelectItem = PositionAfterMove(store.gmyCurrentSelectItem, from, to);
    store.status->ShowPictureList(count, store.gmyCurrentSelectItem);
    return true;
}

void ReserveSlots() {
    std::vector<Place> places = TakePlaces();
    if (places.size() > static_cast<std::size_t>(kMostPictures))
        return;
    bool storedBehind = false;
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
        const bool stored = place->record->inFrame == 1;
        std::uint8_t& status = place->slot[0];
        if (!stored && storedBehind && (status == kSlotFree || status == kSlotErased))
            status = kSlotReserved;
        else if (!stored && !storedBehind && status == kSlotReserved)
            status = kSlotFree;
        storedBehind |= stored;
    }
    PutPlaces(places);
}

bool ListDiffers() {
    return Store().gmyPictureData != nullptr && (DownloadIsDue() || StoredPicturesDiffer());
}

bool StoredPicturesDiffer() {
    return Store().gmyPictureData != nullptr && StoredSlots() != Store().slotsAsStored;
}

Waiting CountWaiting() {
    Waiting waiting;
    if (Store().gmyPictureData == nullptr)
        return waiting;
    const Journal* journal = Store().journal.get();
    for (const FileData* record = Store().gmyPictureData->sentinel->next; record != nullptr;
         record = record->next) {
        if (record->inFrame == 1)
            continue;
        const bool kept = journal != nullptr && record->streamHash &&
                          std::ranges::find(journal->pictures, *record->streamHash, &JournalPicture::hash) !=
                              journal->pictures.end();
        ++(kept ? waiting.kept : waiting.unkept);
    }
    return waiting;
}

void NoteListAsStored() {
    Store().slotsAsStored = StoredSlots();
}

}  // namespace lumato::store
