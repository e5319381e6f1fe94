#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "device/comm_usb.h"
#include "flash/checked_transfer.h"
#include "flash/process_flash.h"
#include "store/download_plan.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/recovery.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using Bytes = std::vector<std::uint8_t>;
using flash::kBlockSize;

constexpr int kWriteUnit = 1024;  // the last block of pictures is rounded up to it
constexpr std::uint8_t kErased = 0xFF;
// The table is invalid without these bytes: its slots, the header byte before them and half the end mark.
constexpr int kInvalidBegin = 15;
constexpr int kInvalidEnd = kEndMarkOffset + 1;

int RoundUp(int value, int unit) {
    return (value + unit - 1) / unit * unit;
}

// One download, from the plan to the table with its end mark.
class Download {
  public:
    bool Run();

  private:
    bool MakePlan();
    bool ReadStreams();
    bool InvalidateTable();
    bool ReadTableBlock(const Message& onFailure);
    bool KeepJournal();
    void RememberBlocks();
    bool RestoreBlocks();
    bool WriteTableOnly();
    bool WritePictures();
    void FillSlots(MutableByteSpan table) const;
    bool PrepareTableBlock();
    bool WriteUpToBoundary();
    bool WriteWholeBlocks();
    bool WriteTableBlock();
    void MarkStored();

    bool Fail(const Message& message, const std::string& reason);
    bool Write(Bytes& bytes, int length, int address) const;
    void TakeNewData(int length);

    StoreState& m_store = Store();
    std::shared_ptr<flash::CProcessFlash> m_frame = flash::Flash().m_PtrPF;
    FileDataHead* m_list = m_store.gmyPictureData.get();
    bool m_rewriteAll = false;
    bool m_fromScratch = false;
    int m_first = 0;
    int m_total = 0;         // bytes of new data not yet written
    int m_start = 0;         // where they go
    Bytes m_streams;         // all new data, and kWriteUnit spare bytes
    std::size_t m_done = 0;  // bytes of m_streams already written
    Bytes m_tableBlock;
};

bool Download::Fail(const Message& message, const std::string& reason) {
    m_store.gmyIsTransferData = false;
    m_store.whyFailed = reason;
    ShowFailure(message, reason);
    m_store.status->SetDownLoadPrcess(0);
    return false;
}

bool Download::Write(Bytes& bytes, int length, int address) const {
    return flash::WriteDataToFlash(bytes.data(), length, address);
}

void Download::TakeNewData(int length) {
    m_done += static_cast<std::size_t>(length);
    m_start += length;
    m_total -= length;
}

bool Download::MakePlan() {
    if (m_frame == nullptr || m_list == nullptr)
        return Fail(kDownloadFailed, "no frame is connected");
    m_rewriteAll = GetStartAddAndTotalDownSize(m_first, m_total, m_start);
    if (m_total > 0 && m_list->count > kMostPictures)
        return Fail(kDownloadFailed, "the frame's picture table has no room for so many pictures");
    if (std::int64_t{m_start} + m_total > WritableEnd())
        return Fail(kDownloadFailed, "the pictures are larger than the frame's flash");
    m_fromScratch = m_start == PictureAreaStart() && m_total > 0;
    return true;
}

// Before the frame's table is touched, so that a missing file costs nothing.
bool Download::ReadStreams() {
    if (m_total == 0)
        return true;
    m_streams.reserve(static_cast<std::size_t>(m_total + kWriteUnit));
    for (const FileData* record = GetNode(m_list, m_first); record != nullptr; record = record->next) {
        const auto size = static_cast<std::uintmax_t>(record->picSize);
        const auto stream = ReadPlainFile(StreamPath(record->fileName), size);
        if (!stream)
            return Fail(kDownloadFailed, stream.error().message);
        if (stream->size() != size)
            return Fail(kDownloadFailed, record->fileName + ": the picture's local file is too short");
        m_streams.insert(m_streams.end(), stream->begin(), stream->end());
    }
    m_streams.resize(m_streams.size() + kWriteUnit, kErased);
    return true;
}

bool Download::ReadTableBlock(const Message& onFailure) {
    m_tableBlock.resize(kBlockSize);
    if (!flash::ReadFlashData(m_tableBlock.data(), kBlockSize, m_store.G_PicListAddress))
        return Fail(onFailure, "the frame's picture table could not be read");
    // What stood behind the table before the first change counts: the copy without a valid table is
    // programmed without a check, and an earlier download may have broken off in the middle of it.
    if (const auto before = m_store.blocksAtRisk.find(m_store.G_PicListAddress);
        before != m_store.blocksAtRisk.end())
        std::copy(before->second.begin() + kTableSize, before->second.end(),
                  m_tableBlock.begin() + kTableSize);
    return true;
}

// The last moment at which the frame is whole: whatever happens from here on, even to this program or to the
// computer, the pictures are on the disk.
bool Download::KeepJournal() {
    DownloadPlan plan{m_fromScratch, m_store.G_PictureList};
    FillSlots(plan.tableAfter);
    SetEndMark(plan.tableAfter);
    if (const auto kept = KeepDownload(plan, m_tableBlock); !kept)
        return Fail(kDownloadFailed, "the pictures could not be made safe first: " + kept.error().message);
    return true;
}

// From here on a failure leaves changed blocks on the frame. Pictures that stay where they are must survive
// that; when everything is written anew, no picture is on the frame until that has succeeded.
void Download::RememberBlocks() {
    if (!m_fromScratch) {
        m_store.blocksAtRisk.try_emplace(m_store.G_PicListAddress, m_tableBlock);
        return;
    }
    m_store.blocksAtRisk.clear();
    for (FileData* record = m_list->sentinel->next; record != nullptr; record = record->next) {
        record->inFrame = 0;
        if (m_rewriteAll)
            record->afterGap = 0;
    }
}

// A frame whose download breaks off now starts with an empty table, not with slots that lead to other bytes.
// A command that fails here is no reason to stop: the block is in arrears already, and going on is what mends
// it. The check of what is written in the end decides.
bool Download::InvalidateTable() {
    if (!ReadTableBlock(kDownloadFailed) || !KeepJournal())
        return false;
    if (!flash::Flash().device->ConfirmIdentity())
        return Fail(kDownloadFailed,
                    "the device does not say any more that it is a frame; nothing was changed");
    RememberBlocks();
    std::fill(m_tableBlock.begin() + kInvalidBegin, m_tableBlock.begin() + kInvalidEnd, std::uint8_t{0});
    const auto address = static_cast<unsigned long>(m_store.G_PicListAddress);
    m_frame->Erase4KFlash(address);
    m_frame->WriteToFlash(reinterpret_cast<char*>(m_tableBlock.data()), kBlockSize, address);
    return FrameOnline() || Fail(kBlockFailed, "the frame could not be written");
}

// What a download that broke off has done to blocks with bytes of pictures that stay.
bool Download::RestoreBlocks() {
    for (auto& [address, bytes] : m_store.blocksAtRisk) {
        if (address != m_store.G_PicListAddress && !Write(bytes, static_cast<int>(bytes.size()), address))
            return Fail(kBlockFailed, "the frame could not be written");
    }
    return true;
}

bool Download::WriteTableBlock() {
    return Write(m_tableBlock, kBlockSize, m_store.G_PicListAddress) ||
           Fail(kBlockFailed, "the frame's picture table could not be written");
}

bool Download::WriteTableOnly() {
    if (!ReadTableBlock(kTableBlockUnreadable))
        return false;
    std::ranges::copy(m_store.G_PictureList, m_tableBlock.begin());
    SetEndMark(m_tableBlock);
    return WriteTableBlock();
}

void Download::FillSlots(MutableByteSpan table) const {
    if (m_total == 0)
        return;
    int address = m_start;
    FileData* record = GetNode(m_list, m_first);
    for (int slot = m_first; record != nullptr; ++slot, record = record->next) {
        FillSlot(SlotOf(table, slot), address, record->picSize);
        address += record->picSize;
    }
}

bool Download::PrepareTableBlock() {
    if (m_fromScratch)
        m_tableBlock.assign(kBlockSize, kErased);
    else if (!ReadTableBlock(kDownloadFailed))
        return false;
    const int blockEnd = m_store.G_PicListAddress + kBlockSize;
    const int length = std::clamp(blockEnd - m_start, 0, m_total);
    std::copy_n(m_streams.begin(), length,
                m_tableBlock.begin() + std::min(m_start - m_store.G_PicListAddress, kBlockSize));
    TakeNewData(length);
    m_store.status->SetDownLoadPrcess(20);
    std::ranges::copy(m_store.G_PictureList, m_tableBlock.begin());
    return true;
}

// The block in which the stored pictures end is read, completed and written whole.
bool Download::WriteUpToBoundary() {
    const int offset = m_start % kBlockSize;
    if (offset == 0)
        return true;
    const int base = m_start - offset;
    const int size = std::min(kBlockSize, WritableEnd() - base);
    const int length = std::min(m_total, kBlockSize - offset);
    Bytes block(static_cast<std::size_t>(size));
    if (!flash::ReadFlashData(block.data(), size, base))
        return Fail(kDownloadFailed, "the frame could not be read");
    m_store.blocksAtRisk.try_emplace(base, block);
    if (const auto kept = KeepBlocks(); !kept)
        return Fail(kDownloadFailed, "the pictures could not be made safe first: " + kept.error().message);
    std::copy_n(m_streams.begin() + static_cast<std::ptrdiff_t>(m_done), length, block.begin() + offset);
    if (!Write(block, size, base))
        return Fail(kDownloadFailed, "the frame could not be written");
    TakeNewData(length);
    return true;
}

bool Download::WriteWholeBlocks() {
    const int count = (m_total + kBlockSize - 1) / kBlockSize;
    for (int block = 1; block <= count; ++block) {
        const bool last = block == count;
        // The writable end is a multiple of the unit, so that rounding never passes it.
        const int length = last ? RoundUp(m_total, kWriteUnit) : kBlockSize;
        if (!flash::WriteDataToFlash(m_streams.data() + m_done, length, m_start))
            return Fail(last ? kLastBlockFailed : kBlockFailed, "the frame could not be written");
        TakeNewData(std::min(m_total, kBlockSize));
        m_store.status->SetDownLoadPrcess(30 + 60 * block / count);
    }
    return true;
}

void Download::MarkStored() {
    m_store.status->SetDownLoadPrcess(99);
    for (FileData* record = GetNode(m_list, m_first); record != nullptr; record = record->next)
        record->inFrame = 1;
}

bool Download::WritePictures() {
    FillSlots(m_store.G_PictureList);
    m_store.status->SetDownLoadPrcess(10);
    if (!PrepareTableBlock())
        return false;
    if (m_total > 0) {
        if (!WriteUpToBoundary())
            return false;
        m_store.status->SetDownLoadPrcess(30);
        if (!WriteWholeBlocks())
            return false;
    }
    if (m_tableBlock[1] != 0)
        SetEndMark(m_tableBlock);
    if (!WriteTableBlock())
        return false;
    MarkStored();
    return true;
}

bool Download::Run() {
    ResumeDownload();
    if (!MakePlan() || !ReadStreams() || !InvalidateTable() || !RestoreBlocks())
        return false;
    if (!(m_total == 0 ? WriteTableOnly() : WritePictures()))
        return false;
    m_store.blocksAtRisk.clear();
    ForgetJournal();
    m_store.status->SetDownLoadPrcess(100);
    ShowNote(kDownloadFinished);
    return true;
}

}  // namespace

bool BeginDownload() {
    // A connection that ended early knows only a part of the frame's pictures: the rest would be lost.
    if (!FrameOnline() || LastConnection() != Connection::Online || !StartTransfer())
        return false;
    StoreState& store = Store();
    store.status->SetControlPanlEnable(false);
    store.gmyIsTransferData = true;
    ShowNote(kDownloadStarted);
    store.status->SetDownLoadPrcess(0);
    return true;
}

bool TranspotPic() {
    TransferOwner owner;
    owner.PostRefresh();  // the panel comes back after a failure, too
    return Download().Run();
}

}  // namespace lumato::store
