#include <algorithm>
#include <limits>
#include <vector>

#include "store/journal.h"
#include "store/list_order.h"
#include "store/picture_table.h"
#include "store/recovery.h"

namespace lumato::store {
namespace {

using Records = std::vector<FileData*>;

Records TakeApart(FileDataHead& list) {
    Records records;
    for (FileData& record : EachOf(&list))
        records.push_back(&record);
    return records;
}

void PutTogether(FileDataHead& list, const Records& records) {
    FileData* last = list.sentinel;
    for (FileData* record : records)
        last = last->next = record;
    last->next = nullptr;
}

// In the order of the journal, with what was added since behind it.
bool ComesBefore(const FileData* a, const FileData* b) {
    const auto position = [](const FileData& record) {
        return record.journalPosition > 0 ? record.journalPosition : std::numeric_limits<int>::max();
    };
    return position(*a) < position(*b);
}

// Free slots get the bytes that the download which broke off was to leave there, so that the frame ends up
// the same to the last byte.
void FillTable(const Records& records) {
    StoreState& store = Store();
    auto& table = store.G_PictureList;
    if (store.journal != nullptr)
        table = store.journal->tableAfter;
    else
        std::fill(table.begin() + kTableHeaderSize, table.end(), std::uint8_t{0});
    int slot = 0;
    for (const FileData* record : records) {
        if (record->inFrame == 1)
            FillSlot(SlotOf(table, ++slot), record->oldAddress, record->picSize);
        else
            SlotOf(table, ++slot)[0] = kSlotFree;
    }
    while (++slot <= kMostPictures)
        SlotOf(table, slot)[0] = kSlotFree;
    ReserveSlots();
}

}  // namespace

void ResumeDownload() {
    StoreState& store = Store();
    if (!store.resuming || store.orderResumed || store.gmyPictureData == nullptr)
        return;
    store.orderResumed = true;
    const bool fromScratch = store.blocksAtRisk.empty();
    Records records = TakeApart(*store.gmyPictureData);
    for (FileData* record : records)
        record->inFrame = !fromScratch && record->oldAddress != 0 ? 1 : 0;
    std::ranges::stable_sort(records, ComesBefore);
    PutTogether(*store.gmyPictureData, records);
    FillTable(records);
}

}  // namespace lumato::store
