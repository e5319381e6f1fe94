#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "device/comm_usb.h"
#include "flash/checked_transfer.h"
#include "flash/process_flash.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/read_back.h"
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
    Result<void> Write();
    Result<void> MakePlan();
    Result<void> ReadStreams();
    Result<Bytes> ReadStream(FileData& record, int position);
    Result<void> InvalidateTable();
    Result<void> ReadTableBlock(const Message& onFailure);
    Result<void> KeepJournal();
    void RememberBlocks();
    Result<void> RestoreBlocks();
    Result<void> WriteTableOnly();
    Result<void> WritePictures();
    void FillSlots(MutableByteSpan table) const;
    Result<void> PrepareTableBlock();
    Result<void> WriteUpToBoundary();
    Result<void> WriteWholeBlocks();
    Result<void> WriteTableBlock();
    void MarkStored();

    // What a step fails with: the note to be shown, and why.
    tl::unexpected<Error> Fail(const Message& note, std::string reason);
    Result<void> WriteBlock(Bytes& bytes, int length, int address, const Message& onFailure);
    void TakeNewData(int length);

    StoreState& m_store = Store();
    const FrameGeometry& m_geometry = m_store.geometry;
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
    Message m_note = kDownloadFailed;  // of the step that failed
};

tl::unexpected<Error> Download::Fail(const Message& note, std::string reason) {
    m_note = note;
    return lumato::Fail(ErrorKind::Refused, std::move(reason));
}

Result<void> Download::WriteBlock(Bytes& bytes, int length, int address, const Message& onFailure) {
    if (!flash::WriteDataToFlash(bytes.data(), length, address))
        return Fail(onFailure, "the frame could not be written");
    return {};
}

void Download::TakeNewData(int length) {
    m_done += static_cast<std::size_t>(length);
    m_start += length;
    m_total -= length;
}

Result<void> Download::MakePlan() {
    if (m_frame == nullptr || m_list == nullptr)
        return Fail(kDownloadFailed, "no frame is connected");
    if (!m_geometry.whyReadOnly.empty())
        return Fail(kDownloadFailed, m_geometry.whyReadOnly);
    m_rewriteAll = GetStartAddAndTotalDownSize(m_first, m_total, m_start);
    if (m_list->count > kMostPictures)
        return Fail(kDownloadFailed, "the frame's picture table has room for " +
                                         std::to_string(kMostPictures) + " pictures, not for " +
                                         std::to_string(m_list->count));
    if (!m_geometry.CanWrite(m_start, m_total))
        return Fail(kDownloadFailed, "the pictures are larger than the frame's flash");
    m_fromScratch = m_start == m_geometry.PictureAreaStart() && m_total > 0;
    return {};
}

// Before the frame's table is touched, so that a missing file costs nothing.
Result<void> Download::ReadStreams() {
    if (m_total == 0)
        return {};
    m_streams.reserve(static_cast<std::size_t>(m_total + kWriteUnit));
    int position = m_first;
    for (FileData* record = GetNode(m_list, m_first); record != nullptr; record = record->next) {
        const auto stream = ReadStream(*record, position++);
        if (!stream)
            return Fail(kDownloadFailed, stream.error().message);
        m_streams.insert(m_streams.end(), stream->begin(), stream->end());
    }
    m_streams.resize(m_streams.size() + kWriteUnit, kErased);
    return {};
}

Result<Bytes> Download::ReadStream(FileData& record, int position) {
    LUMATO_TRY(Bytes stream, StreamOf(record, SlotAddress(SlotOf(m_store.G_PictureList, position))));
    if (stream.size() != static_cast<std::size_t>(record.picSize))
        return Fail(kDownloadFailed, record.fileName + ": the picture's local file is too short");
    // It leaves its place on the frame. All that a download writes is less than the flash.
    if (record.onlyOnFrame) {
        LUMATO_TRY_VOID(WriteFile(StreamPath(record.fileName), stream, Links::Replace));
        record.onlyOnFrame = false;
    }
    return stream;
}

Result<void> Download::ReadTableBlock(const Message& onFailure) {
    m_tableBlock.resize(kBlockSize);
    if (!flash::ReadFlashData(m_tableBlock.data(), kBlockSize, m_geometry.tableAddress))
        return Fail(onFailure, "the frame's picture table could not be read");
    // What stood behind the table before the first change counts: the copy without a valid table is
    // programmed without a check, and an earlier download may have broken off in the middle of it.
    if (const auto before = m_store.blocksAtRisk.find(m_geometry.tableAddress);
        before != m_store.blocksAtRisk.end())
        std::copy(before->second.begin() + kTableSize, before->second.end(),
                  m_tableBlock.begin() + kTableSize);
    return {};
}

// The last moment at which the frame is whole: whatever happens from here on, even to this program or to the
// computer, the pictures are on the disk.
Result<void> Download::KeepJournal() {
    DownloadPlan plan{m_fromScratch, m_store.G_PictureList};
    FillSlots(plan.tableAfter);
    SetEndMark(plan.tableAfter);
    if (const auto kept = KeepDownload(plan, m_tableBlock); !kept)
        return Fail(kDownloadFailed, "the pictures could not be made safe first: " + kept.error().message);
    return {};
}

// From here on a failure leaves changed blocks on the frame. Pictures that stay where they are must survive
// that; when everything is written anew, no picture is on the frame until that has succeeded.
void Download::RememberBlocks() {
    if (!m_fromScratch) {
        m_store.blocksAtRisk.try_emplace(m_geometry.tableAddress, m_tableBlock);
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
Result<void> Download::InvalidateTable() {
    LUMATO_TRY_VOID(ReadTableBlock(kDownloadFailed));
    LUMATO_TRY_VOID(KeepJournal());
    if (!m_frame->Frame().ConfirmIdentity())
        return Fail(kDownloadFailed,
                    "the device does not say any more that it is a frame; nothing was changed");
    RememberBlocks();
    std::fill(m_tableBlock.begin() + kInvalidBegin, m_tableBlock.begin() + kInvalidEnd, std::uint8_t{0});
    const auto address = static_cast<unsigned long>(m_geometry.tableAddress);
    m_frame->Erase4KFlash(address);
    m_frame->WriteToFlash(reinterpret_cast<char*>(m_tableBlock.data()), kBlockSize, address);
    if (!FrameOnline())
        return Fail(kBlockFailed, "the frame could not be written");
    return {};
}

// What a download that broke off has done to blocks with bytes of pictures that stay.
Result<void> Download::RestoreBlocks() {
    for (auto& [address, bytes] : m_store.blocksAtRisk) {
        if (address != m_geometry.tableAddress)
            LUMATO_TRY_VOID(WriteBlock(bytes, static_cast<int>(bytes.size()), address, kBlockFailed));
    }
    return {};
}

Result<void> Download::WriteTableBlock() {
    return WriteBlock(m_tableBlock, kBlockSize, m_geometry.tableAddress, kBlockFailed);
}

Result<void> Download::WriteTableOnly() {
    LUMATO_TRY_VOID(ReadTableBlock(kTableBlockUnreadable));
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

Result<void> Download::PrepareTableBlock() {
    if (m_fromScratch)
        m_tableBlock.assign(kBlockSize, kErased);
    else
        LUMATO_TRY_VOID(ReadTableBlock(kDownloadFailed));
    const int blockEnd = m_geometry.tableAddress + kBlockSize;
    const int length = std::clamp(blockEnd - m_start, 0, m_total);
    std::copy_n(m_streams.begin(), length,
                m_tableBlock.begin() + std::min(m_start - m_geometry.tableAddress, kBlockSize));
    TakeNewData(length);
    m_store.status->SetDownLoadPrcess(20);
    std::ranges::copy(m_store.G_PictureList, m_tableBlock.begin());
    return {};
}

// The block in which the stored pictures end is read, completed and written whole.
Result<void> Download::WriteUpToBoundary() {
    const int offset = m_start % kBlockSize;
    if (offset == 0)
        return {};
    const int base = m_start - offset;
    const int size = std::min(kBlockSize, m_geometry.writableEnd - base);
    const int length = std::min(m_total, kBlockSize - offset);
    Bytes block(static_cast<std::size_t>(size));
    if (!flash::ReadFlashData(block.data(), size, base))
        return Fail(kDownloadFailed, "the frame could not be read");
    m_store.blocksAtRisk.try_emplace(base, block);
    if (const auto kept = KeepBlocks(); !kept)
        return Fail(kDownloadFailed, "the pictures could not be made safe first: " + kept.error().message);
    std::copy_n(m_streams.begin() + static_cast<std::ptrdiff_t>(m_done), length, block.begin() + offset);
    LUMATO_TRY_VOID(WriteBlock(block, size, base, kDownloadFailed));
    TakeNewData(length);
    return {};
}

Result<void> Download::WriteWholeBlocks() {
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
    return {};
}

void Download::MarkStored() {
    m_store.status->SetDownLoadPrcess(99);
    for (FileData* record = GetNode(m_list, m_first); record != nullptr; record = record->next)
        record->inFrame = 1;
}

Result<void> Download::WritePictures() {
    FillSlots(m_store.G_PictureList);
    m_store.status->SetDownLoadPrcess(10);
    LUMATO_TRY_VOID(PrepareTableBlock());
    if (m_total > 0) {
        LUMATO_TRY_VOID(WriteUpToBoundary());
        m_store.status->SetDownLoadPrcess(30);
        LUMATO_TRY_VOID(WriteWholeBlocks());
    }
    if (m_tableBlock[1] != 0)
        SetEndMark(m_tableBlock);
    LUMATO_TRY_VOID(WriteTableBlock());
    MarkStored();
    return {};
}

Result<void> Download::Write() {
    ResumeDownload();
    LUMATO_TRY_VOID(MakePlan());
    LUMATO_TRY_VOID(ReadStreams());
    LUMATO_TRY_VOID(InvalidateTable());
    LUMATO_TRY_VOID(RestoreBlocks());
    return m_total == 0 ? WriteTableOnly() : WritePictures();
}

bool Download::Run() {
    if (const Result<void> written = Write(); !written) {
        m_store.gmyIsTransferData = false;
        ShowFailure(m_note, written.error().message);
        m_store.status->SetDownLoadPrcess(0);
        return false;
    }
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
