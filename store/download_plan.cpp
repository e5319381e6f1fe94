#include "store/download_plan.h"

#include <algorithm>
#include <limits>

#include "flash/checked_transfer.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/recovery.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using flash::kBlockSize;

constexpr int kWriteUnit = 1024;  // the last block of pictures is rounded up to it

struct NewPictures {
    int first = -1;  // position of the first one; -1: none
    int count = 0;
    std::int64_t total = 0;  // bytes of all
};

NewPictures FindNew(const FileDataHead* list) {
    NewPictures found;
    int position = 0;
    for (const FileData& record : EachOf(list)) {
        ++position;
        if (record.inFrame == 1)
            continue;
        if (found.first == -1)
            found.first = position;
        ++found.count;
        found.total += record.picSize;
    }
    return found;
}

// Slots of a frame can overlap and claim more than its flash has.
std::int64_t TotalSize(const FileDataHead* list) {
    std::int64_t total = 0;
    for (const FileData& record : EachOf(list))
        total += record.picSize;
    return total;
}

int Saturated(std::int64_t total) {
    return static_cast<int>(std::min<std::int64_t>(total, std::numeric_limits<int>::max()));
}

// Where the stored pictures of the list lie, as the table tells.
struct StoredPictures {
    bool found = true;          // the table has a slot for each of them
    bool overlapTable = false;  // one has bytes where the table is about to be written
    std::int64_t end = 0;       // behind the highest byte of all: slots may be out of order
};

StoredPictures FindStored(const FileDataHead* list) {
    StoredPictures stored;
    int position = 0;
    for (const FileData& record : EachOf(list)) {
        const ByteSpan slot = SlotOf(Store().G_PictureList, ++position);
        if (record.inFrame != 1)
            continue;
        stored.found &= slot[0] == kSlotStored;
        stored.end = std::max(stored.end, std::int64_t{SlotAddress(slot)} + record.picSize);
        stored.overlapTable |= SlotAddress(slot) < Store().geometry.PictureAreaStart();
    }
    return stored;
}

int CountOnFrame() {
    return IsTable(Store().tableOnFrame) ? CountStored(Store().tableOnFrame) : 0;
}

void FillSlots(DownloadPlan& plan) {
    int address = plan.start;
    int position = 0;
    for (const FileData& record : EachOf(Store().gmyPictureData)) {
        ++position;
        if (!plan.Writes(record))
            continue;
        FillSlot(SlotOf(plan.tableAfter, position), address, record.picSize);
        address += record.picSize;
    }
}

void PlanBlocks(DownloadPlan& plan) {
    const FrameGeometry& geometry = Store().geometry;
    plan.besideTable = std::clamp(geometry.tableAddress + kBlockSize - plan.start, 0, plan.total);
    int address = plan.start + plan.besideTable;
    int left = plan.total - plan.besideTable;
    if (const int offset = address % kBlockSize; left > 0 && offset != 0) {
        const int base = address - offset;
        const int fresh = std::min(left, kBlockSize - offset);
        plan.boundary = {base, std::min(kBlockSize, geometry.writableEnd - base), fresh};
        address += fresh;
        left -= fresh;
    }
    for (; left > 0; address += kBlockSize, left -= kBlockSize) {
        const int fresh = std::min(left, kBlockSize);
        // The writable end is a multiple of the unit, so that rounding never passes it.
        plan.whole.push_back({address, (fresh + kWriteUnit - 1) / kWriteUnit * kWriteUnit, fresh});
    }
}

}  // namespace

int DownloadPlan::CountWritten(const FileDataHead& list) const {
    int count = 0;
    for (const FileData& record : EachOf(&list))
        count += Writes(record) ? 1 : 0;
    return count;
}

void CountFreeSpace() {
    StoreState& store = Store();
    store.TotolFlashSizeForPic = store.geometry.FreeBeside(TotalSize(store.gmyPictureData.get()));
}

bool GetStartAddAndTotalDownSize(int& first, int& total, int& start) {
    const FrameGeometry& geometry = Store().geometry;
    const FileDataHead* list = Store().gmyPictureData.get();
    const NewPictures added = FindNew(list);
    first = added.first;
    total = Saturated(added.total);
    start = geometry.PictureAreaStart();
    if (added.count == list->count)
        return false;  // nothing new, or everything
    const StoredPictures stored = FindStored(list);
    if (first == -1 && !stored.overlapTable)
        return false;
    if (stored.found && !stored.overlapTable && geometry.CanWrite(stored.end, added.total)) {
        start = static_cast<int>(stored.end);
        return false;
    }
    total = Saturated(TotalSize(list));
    first = 1;
    return true;
}

Result<DownloadPlan> PlanDownload() {
    const StoreState& store = Store();
    if (store.gmyPictureData == nullptr)
        return Fail(ErrorKind::Refused, kNoFrame);
    if (!store.geometry.whyReadOnly.empty())
        return Fail(ErrorKind::Refused, store.geometry.whyReadOnly);
    ResumeDownload();
    DownloadPlan plan;
    plan.rewriteAll = GetStartAddAndTotalDownSize(plan.first, plan.total, plan.start);
    if (const int count = store.gmyPictureData->count; count > kMostPictures)
        return Fail(
            ErrorKind::Refused,
            Phrase("TABLE_HAS_ROOM_FOR", "the frame's picture table has room for {0} pictures, not for {1}",
                   kMostPictures, count));
    // A frame that holds more already, or whose download is to be finished, may keep them.
    if (const int count = store.gmyPictureData->count;
        plan.first != -1 && !store.resuming && count > store.geometry.mostPictures && count > CountOnFrame())
        return Fail(ErrorKind::Refused, Phrase("FRAME_HOLDS_FEWER",
                                               "the frame holds at most {0} pictures, and the list has {1}; "
                                               "delete some, such as those that wait",
                                               store.geometry.mostPictures, count));
    if (!store.geometry.CanWrite(plan.start, plan.total))
        return Fail(ErrorKind::Refused,
                    Phrase("LARGER_THAN_FLASH",
                           "the pictures are larger than the frame's flash: they take {0} "
                           "bytes, and it has room for {1}; delete some, such as those that "
                           "wait",
                           TotalSize(store.gmyPictureData.get()), store.geometry.PictureAreaSize()));
    plan.fromScratch = plan.start == store.geometry.PictureAreaStart() && plan.total > 0;
    plan.tableAfter = store.G_PictureList;
    SetEndMark(plan.tableAfter);
    if (plan.total > 0) {
        FillSlots(plan);
        PlanBlocks(plan);
    }
    return plan;
}

}  // namespace lumato::store
