#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "device/comm_usb.h"
#include "flash/checked_transfer.h"
#include "flash/process_flash.h"
#include "store/block_check.h"
#include "store/known_pictures.h"
#include "store/list_order.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/progress_meter.h"
#include "store/read_back.h"
#include "store/retry_history.h"
#include "store/safekeeping.h"
#include "store/stopped_download.h"
#include "store/store.h"
#include "store/written_blocks.h"

namespace lumato::store {
namespace {

using Bytes = std::vector<std::uint8_t>;
using flash::kBlockSize;

constexpr Words kNotWritten{"FRAME_NOT_WRITTEN", "the frame could not be written"};
constexpr std::uint8_t kErased = 0xFF;
// The table is invalid without these bytes: its slots, the header byte before them and half the end mark.
constexpr int kInvalidBegin = 15;
constexpr int kInvalidEnd = kEndMarkOffset + 1;

Phrase NotSafe(const Error& why) {
    return Phrase("NOT_MADE_SAFE", "the pictures could not be made safe first: {0}", why.message);
}

int CountWhole(const std::vector<std::int32_t>& addresses) {
    return static_cast<int>(addresses.size() - static_cast<std::size_t>(std::ranges::count(addresses, 0)));
}

// One download, from the plan to the table with its end mark.
class Download {
  public:
    bool Run();

  private:
    Result<void> Write();
    Result<void> MakePlan();
    Result<void> ReadStreams();
    Result<void> InvalidateTable();
    Result<void> ReadTableBlock(const Words& onFailure);
    Result<void> MakeSafe();
    void RememberBlocks();
    Result<void> RestoreBlocks();
    Result<void> WriteTableOnly();
    Result<void> WritePictures();
    Result<void> PrepareTableBlock();
    void TakeBack();
    Result<void> WriteUpToBoundary(const PlannedBlock& boundary);
    Result<void> WriteWholeBlocks();
    Result<void> WriteTableBlock();
    Result<void> CheckWritten();
    void MarkStored();
    void Confirm();
    [[nodiscard]] bool MayStop() const;
    Result<void> Stop();

    // What a step fails with: the note to be shown, and why.
    tl::unexpected<Error> Fail(const Words& note, Phrase reason);
    Result<void> WriteBlock(Bytes& bytes, int length, int address, const Words& onFailure);

    StoreState& m_store = Store();
    const FrameGeometry& m_geometry = m_store.geometry;
    std::shared_ptr<flash::CProcessFlash> m_frame = flash::Flash().m_PtrPF;
    FileDataHead* m_list = m_store.gmyPictureData.get();
    DownloadPlan m_plan;
    Bytes m_streams;            // all new data, and what the last block is filled up with
    std::ptrdiff_t m_done = 0;  // bytes of m_streams already written
    std::optional<ProgressMeter> m_meter;
    Bytes m_tableBlock;
    std::array<std::uint8_t, kTableSize> m_listBefore{};  // of slots, and what the frame showed then;
    std::optional<int> m_shownBefore;                     // nothing: it was in arrears
    WrittenBlocks m_written;
    KnownPictures m_known;
    Words m_note = kDownloadFailed;  // of the step that failed
};

tl::unexpected<Error> Download::Fail(const Words& note, Phrase reason) {
    m_note = note;
    return lumato::Fail(ErrorKind::Refused, std::move(reason));
}

Result<void> Download::WriteBlock(Bytes& bytes, int length, int address, const Words& onFailure) {
    if (!flash::WriteDataToFlash(bytes.data(), length, address))
        return Fail(onFailure, kNotWritten);
    if (m_store.checkWritten)
        m_written.Note(address, ByteSpan(bytes).first(static_cast<std::size_t>(length)));
    return {};
}

// Nothing, unless that was asked for: the frame's own sums have confirmed each block.
Result<void> Download::CheckWritten() {
    if (const auto checked = m_written.Check(); !checked)
        return Fail(kBlockFailed, checked.error().message);
    return {};
}

Result<void> Download::MakePlan() {
    if (m_frame == nullptr)
        return Fail(kDownloadFailed, kNoFrame);
    auto plan = PlanDownload();
    if (!plan)
        return Fail(kDownloadFailed, plan.error().message);
    m_plan = std::move(*plan);
    return {};
}

// Before the frame's table is touched, so that a missing file costs nothing.
Result<void> Download::ReadStreams() {
    if (m_plan.total == 0)
        return {};
    const int filled = m_plan.whole.empty() ? 0 : m_plan.whole.back().length - m_plan.whole.back().fresh;
    m_streams.reserve(static_cast<std::size_t>(m_plan.total + filled));
    int position = 0;
    for (FileData& record : EachOf(m_list)) {
        ++position;
        if (!m_plan.Writes(record))
            continue;
        const auto stream = StreamToWrite(record, SlotAddress(SlotOf(m_store.G_PictureList, position)));
        if (!stream)
            return Fail(kDownloadFailed, stream.error().message);
        m_streams.insert(m_streams.end(), stream->begin(), stream->end());
    }
    m_streams.resize(m_streams.size() + static_cast<std::size_t>(filled), kErased);
    return {};
}

Result<void> Download::ReadTableBlock(const Words& onFailure) {
    m_tableBlock.resize(kBlockSize);
    if (!flash::ReadFlashData(m_tableBlock.data(), kBlockSize, m_geometry.tableAddress))
        return Fail(onFailure, kTableUnreadable);
    // What stood behind the table before the first change counts: the copy without a valid table is
    // programmed without a check, and an earlier download may have broken off in the middle of it.
    if (const auto before = m_store.blocksAtRisk.find(m_geometry.tableAddress);
        before != m_store.blocksAtRisk.end())
        std::copy(before->second.begin() + kTableSize, before->second.end(),
                  m_tableBlock.begin() + kTableSize);
    if (!AgreesWithLocalCopies(m_geometry.tableAddress + kTableSize,
                               ByteSpan(m_tableBlock).subspan(kTableSize)))
        return Fail(onFailure, kOtherBytes);
    return {};
}

// From here on a failure leaves changed blocks on the frame. Pictures that stay where they are must survive
// that; when everything is written anew, no picture is on the frame until that has succeeded.
void Download::RememberBlocks() {
    if (!m_plan.fromScratch) {
        m_store.blocksAtRisk.try_emplace(m_geometry.tableAddress, m_tableBlock);
        return;
    }
    m_store.blocksAtRisk.clear();
    for (FileData& record : EachOf(m_list)) {
        record.inFrame = 0;
        if (m_plan.rewriteAll)
            record.afterGap = 0;
    }
}

// The last moment at which the frame is whole: whatever happens from here on, even to this program or to the
// computer, the pictures are on the disk.
Result<void> Download::MakeSafe() {
    if (const auto kept = KeepDownload(m_plan, m_tableBlock); !kept)
        return Fail(kDownloadFailed, NotSafe(kept.error()));
    SaveKnown(m_plan.tableAfter, m_known);
    if (!m_frame->Frame().ConfirmIdentity())
        return Fail(kDownloadFailed,
                    Phrase("NO_FRAME_ANY_MORE",
                           "the device does not say any more that it is a frame; nothing was changed"));
    return {};
}

// A frame whose download breaks off now starts with an empty table, not with slots that lead to other bytes.
// A command that fails here is no reason to stop: the block is in arrears already, and going on is what mends
// it. The check of what is written in the end decides.
Result<void> Download::InvalidateTable() {
    LUMATO_TRY_VOID(ReadTableBlock(kDownloadFailed));
    m_known = KnownAfter(m_plan);  // by the journal of a download that broke off, too
    LUMATO_TRY_VOID(MakeSafe());
    if (m_store.blocksAtRisk.empty() && !m_store.resuming)
        m_shownBefore = m_store.picturesShown;
    RememberBlocks();
    m_store.picturesShown.reset();
    std::fill(m_tableBlock.begin() + kInvalidBegin, m_tableBlock.begin() + kInvalidEnd, std::uint8_t{0});
    const auto address = static_cast<unsigned long>(m_geometry.tableAddress);
    m_frame->Erase4KFlash(address);
    m_frame->WriteToFlash(reinterpret_cast<char*>(m_tableBlock.data()), kBlockSize, address);
    if (!FrameOnline())
        return Fail(kBlockFailed, kNotWritten);
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

// The table lists nothing that was not checked.
Result<void> Download::WriteTableBlock() {
    LUMATO_TRY_VOID(CheckWritten());
    LUMATO_TRY_VOID(WriteBlock(m_tableBlock, kBlockSize, m_geometry.tableAddress, kBlockFailed));
    return CheckWritten();
}

Result<void> Download::WriteTableOnly() {
    LUMATO_TRY_VOID(ReadTableBlock(kTableBlockUnreadable));
    std::ranges::copy(m_store.G_PictureList, m_tableBlock.begin());
    SetEndMark(m_tableBlock);
    return WriteTableBlock();
}

Result<void> Download::PrepareTableBlock() {
    if (m_plan.fromScratch)
        m_tableBlock.assign(kBlockSize, kErased);
    else
        LUMATO_TRY_VOID(ReadTableBlock(kDownloadFailed));
    if (m_plan.besideTable > 0)
        std::copy_n(m_streams.begin(), m_plan.besideTable,
                    m_tableBlock.begin() + (m_plan.start - m_geometry.tableAddress));
    m_done = m_plan.besideTable;
    // What lies beside the table is written with it, in the end.
    m_meter.emplace(Phase::Writing, m_plan.CountWritten(*m_list),
                    m_plan.total - m_plan.besideTable + kBlockSize);
    m_meter->Reach(1, 0);
    m_store.status->SetDownLoadPrcess(20);
    std::ranges::copy(m_store.G_PictureList, m_tableBlock.begin());
    return {};
}

// So much is written, and the frame's sum has confirmed it.
void Download::Confirm() {
    const int stayed = m_list->count - m_plan.CountWritten(*m_list);
    m_meter->Reach(CountWhole(AddressesOfWhole(m_plan, m_done)) - stayed + 1, m_done - m_plan.besideTable);
}

// Nothing but the table was changed: with that the frame is as it was. One in arrears before stays so.
void Download::TakeBack() {
    if (!m_shownBefore)
        return;
    Bytes& before = m_store.blocksAtRisk.at(m_geometry.tableAddress);
    if (!flash::WriteDataToFlash(before.data(), kBlockSize, m_geometry.tableAddress))
        return;
    m_store.blocksAtRisk.clear();
    m_store.G_PictureList = m_listBefore;
    m_store.picturesShown = m_shownBefore;
}

// The block in which the stored pictures end is read, completed and written whole.
Result<void> Download::WriteUpToBoundary(const PlannedBlock& boundary) {
    LUMATO_TRY(Bytes block, ReadAgreeing(boundary.address, boundary.length));
    m_store.blocksAtRisk.try_emplace(boundary.address, block);
    if (const auto kept = KeepBlocks(); !kept) {
        TakeBack();
        return Fail(kDownloadFailed, NotSafe(kept.error()));
    }
    std::copy_n(m_streams.begin() + m_done, boundary.fresh,
                block.begin() + (m_plan.start + m_done - boundary.address));
    LUMATO_TRY_VOID(WriteBlock(block, boundary.length, boundary.address, kDownloadFailed));
    m_done += boundary.fresh;
    Confirm();
    return {};
}

Result<void> Download::WriteWholeBlocks() {
    const auto count = static_cast<int>(m_plan.whole.size());
    int written = 0;
    for (const PlannedBlock& block : m_plan.whole) {
        if (MayStop())
            return {};
        if (!flash::WriteDataToFlash(m_streams.data() + m_done, block.length, block.address))
            return Fail(written + 1 == count ? kLastBlockFailed : kBlockFailed, kNotWritten);
        if (m_store.checkWritten)
            m_written.Note(block.address,
                           ByteSpan(m_streams).subspan(static_cast<std::size_t>(m_done),
                                                       static_cast<std::size_t>(block.length)));
        m_done += block.fresh;
        Confirm();
        m_store.status->SetDownLoadPrcess(30 + 60 * ++written / count);
    }
    return {};
}

void Download::MarkStored() {
    m_store.status->SetDownLoadPrcess(99);
    for (FileData& record : EachOf(m_list))
        record.inFrame = 1;
}

Result<void> Download::WritePictures() {
    m_listBefore = std::exchange(m_store.G_PictureList, m_plan.tableAfter);
    m_store.status->SetDownLoadPrcess(10);
    LUMATO_TRY_VOID(PrepareTableBlock());
    if (m_plan.total > m_plan.besideTable) {
        if (m_plan.boundary && !MayStop())
            LUMATO_TRY_VOID(WriteUpToBoundary(*m_plan.boundary));
        m_store.status->SetDownLoadPrcess(30);
        LUMATO_TRY_VOID(WriteWholeBlocks());
    }
    if (m_done < m_plan.total)
        return Stop();
    if (m_tableBlock[1] != 0)
        SetEndMark(m_tableBlock);
    LUMATO_TRY_VOID(WriteTableBlock());
    m_meter->Reach(m_plan.CountWritten(*m_list), m_plan.total - m_plan.besideTable + kBlockSize);
    MarkStored();
    return {};
}

// Between two blocks, as soon as the frame would not be left without any picture.
bool Download::MayStop() const {
    return StopRequested() && CountWhole(AddressesOfWhole(m_plan, m_done)) > 0;
}

// Until the shorter table is written, the journal has both: what the frame was to get, and what it has now.
Result<void> Download::Stop() {
    const std::vector<std::int32_t> addresses = AddressesOfWhole(m_plan, m_done);
    ListWhole(addresses, m_tableBlock);
    if (const auto kept = KeepStopped(m_tableBlock, addresses); !kept)
        return Fail(kDownloadFailed, NotSafe(kept.error()));
    LUMATO_TRY_VOID(WriteTableBlock());
    SaveKnown(ByteSpan(m_tableBlock).first(kTableSize), m_known);
    TakeStopped(addresses, m_tableBlock);
    const int whole = CountWhole(addresses);
    return Fail(kDownloadStopped, Phrase("ON_FRAME_AND_WAITING", "{0} on the frame, {1} waiting", whole,
                                         m_list->count - whole));
}

Result<void> Download::Write() {
    LUMATO_TRY_VOID(MakePlan());
    LUMATO_TRY_VOID(ReadStreams());
    if (StopRequested()) {
        m_store.downloadStopped = true;
        return Fail(kDownloadStopped, Phrase("FRAME_AS_IT_WAS", "the frame is as it was"));
    }
    LUMATO_TRY_VOID(InvalidateTable());
    LUMATO_TRY_VOID(RestoreBlocks());
    return m_plan.total == 0 ? WriteTableOnly() : WritePictures();
}

bool Download::Run() {
    m_store.downloadStopped = false;
    const flash::TransferCount before = flash::Transferred();
    const Result<void> written = Write();
    NoteRetries(before);
    if (!written) {
        m_store.gmyIsTransferData = false;
        ShowFailure(m_note, written.error().message);
        m_store.status->SetDownLoadPrcess(0);
        return false;
    }
    m_store.blocksAtRisk.clear();
    m_store.resuming = false;
    SaveKnown(ByteSpan(m_tableBlock).first(kTableSize), m_known);
    ForgetJournal();
    NoteListAsStored();
    m_store.picturesShown = m_list->count;
    m_store.status->SetDownLoadPrcess(100);
    ShowNote(kDownloadFinished);
    m_store.status->SetNoteDetail(Joined(kMayUnplug, kSemicolon, LinkWarning()));
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
