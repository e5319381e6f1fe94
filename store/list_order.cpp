#include "store/list_order.h"

#include <algorithm>
#include <array>
#include <utility>
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
    for (FileData& record : EachOf(Store().gmyPictureData)) {
        Place place{&record, {}};
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

std::vector<std::uint8_t> StoredSlots() {
    std::vector<std::uint8_t> slots;
    int position = 0;
    for (const FileData& record : EachOf(Store().gmyPictureData)) {
        const ByteSpan slot = SlotOf(Store().G_PictureList, ++position);
        if (record.inFrame == 1)
            slots.insert(slots.end(), slot.begin(), slot.end());
    }
    return slots;
}

}  // namespace

bool MovePictures(std::vector<int> positions, int before) {
    StoreState& store = Store();
    const int count = store.gmyPictureData != nullptr ? store.gmyPictureData->count : 0;
    std::ranges::sort(positions);
    if (positions.empty() || positions.front() < 1 || positions.back() > count || before < 1 ||
        before > count + 1 || count > kMostPictures)
        return false;
    ResumeDownload();
    const std::vector<Place> places = TakePlaces();
    const FileData* selected = store.gmyCurrentSelectItem >= 1 && store.gmyCurrentSelectItem <= count
                                   ? places[static_cast<std::size_t>(store.gmyCurrentSelectItem) - 1].record
                                   : nullptr;
    std::array<std::vector<Place>, 3> parts;  // in front, moved, behind
    for (int position = 1; position <= count; ++position) {
        const bool moved = std::ranges::binary_search(positions, position);
        parts[moved               ? 1U
              : position < before ? 0U
                                  : 2U]
            .push_back(places[static_cast<std::size_t>(position) - 1]);
    }
    std::vector<Place> ordered = std::move(parts[0]);
    ordered.insert(ordered.end(), parts[1].begin(), parts[1].end());
    ordered.insert(ordered.end(), parts[2].begin(), parts[2].end());
    PutPlaces(ordered);
    ReserveSlots();
    if (selected != nullptr)
        store.gmyCurrentSelectItem =
            static_cast<int>(std::ranges::find(ordered, selected, &Place::record) - ordered.begin()) + 1;
    store.status->ShowPictureList(count, store.gmyCurrentSelectItem);
    return true;
}

bool MovePicture(int from, int to) {
    const int count = Store().gmyPictureData != nullptr ? Store().gmyPictureData->count : 0;
    return to >= 1 && to <= count && MovePictures({from}, from < to ? to + 1 : to);
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
    for (const FileData& record : EachOf(Store().gmyPictureData)) {
        if (record.inFrame == 1)
            continue;
        const bool kept = journal != nullptr && record.streamHash &&
                          std::ranges::find(journal->pictures, *record.streamHash, &JournalPicture::hash) !=
                              journal->pictures.end();
        ++(kept ? waiting.kept : waiting.unkept);
    }
    return waiting;
}

void NoteListAsStored() {
    Store().slotsAsStored = StoredSlots();
}

}  // namespace lumato::store
