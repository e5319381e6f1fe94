#include "store/stopped_download.h"

#include <algorithm>

#include "store/list_order.h"
#include "store/picture_table.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::store {

std::vector<std::int32_t> AddressesOfWhole(const DownloadPlan& plan, std::ptrdiff_t done) {
    std::vector<std::int32_t> addresses;
    int position = 0;
    for (const FileData& record : EachOf(Store().gmyPictureData)) {
        const std::int32_t address = SlotAddress(SlotOf(Store().G_PictureList, ++position));
        const bool whole = !plan.Writes(record) || address + record.picSize <= plan.start + done;
        addresses.push_back(whole ? address : 0);
    }
    return addresses;
}

void ListWhole(const std::vector<std::int32_t>& addresses, MutableByteSpan table) {
    std::ranges::fill(table.subspan(kTableHeaderSize, kTableSize - kTableHeaderSize), std::uint8_t{0});
    const FileData* record = Store().gmyPictureData->sentinel->next;
    int slot = 0;
    for (const std::int32_t address : addresses) {
        if (address != 0)
            FillSlot(SlotOf(table, ++slot), address, record->picSize);
        record = record->next;
    }
    SetEndMark(table);
}

void TakeStopped(const std::vector<std::int32_t>& addresses, ByteSpan table) {
    StoreState& store = Store();
    int position = 0;
    for (FileData& record : EachOf(store.gmyPictureData)) {
        record.inFrame = addresses[static_cast<std::size_t>(position++)] != 0 ? 1 : 0;
        record.journalPosition = record.oldAddress = 0;
        if (record.inFrame == 0)
            SlotOf(store.G_PictureList, position)[0] = kSlotFree;
    }
    ReserveSlots();
    std::ranges::copy(table.first(kTableSize), store.tableOnFrame.begin());
    store.blocksAtRisk.clear();
    store.resuming = false;
    store.picturesShown = CountStored(store.tableOnFrame);
    store.downloadStopped = true;
    NoteListAsStored();
    // Should that fail, the journal of the download stays, and gives the same back.
    static_cast<void>(KeepOnlyWaiting());
}

}  // namespace lumato::store
