#include "store/download_plan.h"

#include <algorithm>
#include <cstdint>

#include "flash/process_flash.h"
#include "store/picture_table.h"
#include "store/store.h"

namespace lumato::store {
namespace {

struct NewPictures {
    int first = -1;  // position of the first one; -1: none
    int total = 0;   // bytes of all
};

NewPictures FindNew(FileDataHead* list) {
    NewPictures found;
    int position = 0;
    for (const FileData* record = list->sentinel->next; record != nullptr; record = record->next) {
        ++position;
        if (record->inFrame == 1)
            continue;
        if (found.first == -1)
            found.first = position;
        found.total += record->picSize;
    }
    return found;
}

int TotalSize(FileDataHead* list) {
    int total = 0;
    for (const FileData* record = list->sentinel->next; record != nullptr; record = record->next)
        total += record->picSize;
    return total;
}

// Where the stored pictures at the head of the list lie, as the table tells.
struct StoredPictures {
    bool found = false;         // the table has a slot for each of them
    bool overlapTable = false;  // one has bytes where the table is about to be written
    std::int64_t end = 0;       // behind the highest byte of all: slots may be out of order
};

StoredPictures FindStored(FileDataHead* list, int count) {
    StoredPictures stored;
    const FileData* record = list->sentinel->next;
    int left = count;
    for (int slot = 1; slot <= kSlotCount && left > 0; ++slot) {
        const ByteSpan bytes = SlotOf(Store().G_PictureList, slot);
        if (bytes[0] != kSlotStored)
            continue;
        const int address = SlotAddress(bytes);
        stored.end = std::max(stored.end, std::int64_t{address} + record->picSize);
        stored.overlapTable |= address < PictureAreaStart();
        record = record->next;
        --left;
    }
    stored.found = left == 0;
    return stored;
}

}  // namespace

std::int32_t WritableEnd() {
    const auto& frame = flash::Flash().m_PtrPF;
    const auto unit = static_cast<std::int32_t>(frame != nullptr ? frame->EraseUnit() : 1);
    return Store().G_FlashTotalSize / unit * unit;
}

bool GetStartAddAndTotalDownSize(int& first, int& total, int& start) {
    FileDataHead* list = Store().gmyPictureData.get();
    const NewPictures added = FindNew(list);
    first = added.first;
    total = added.total;
    start = PictureAreaStart();
    const int storedCount = first == -1 ? list->count : first - 1;
    if (storedCount == 0)
        return false;  // nothing new, or everything
    const StoredPictures stored = FindStored(list, storedCount);
    if (first == -1 && !stored.overlapTable)
        return false;
    if (stored.found && !stored.overlapTable && stored.end + total <= WritableEnd()) {
        start = static_cast<int>(stored.end);
        return false;
    }
    total = TotalSize(list);
    first = 1;
    return true;
}

}  // namespace lumato::store
