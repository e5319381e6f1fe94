#include "store/read_back.h"

#include <algorithm>
#include <chrono>
#include <system_error>

#include "flash/checked_transfer.h"
#include "store/decode_task.h"
#include "store/journal.h"
#include "store/local_room.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/progress_meter.h"
#include "store/store.h"

namespace lumato::store {
namespace {

constexpr std::chrono::milliseconds kShowInterval{300};
constexpr int kReadUnit = 64;  // the last read of a picture is rounded up to it
constexpr Words kReadAgain{"READ_AGAIN_OR_RECONNECT",
                           "nothing has changed; choose Read Again, or connect the frame anew"};

using Stream = std::vector<std::uint8_t>;

class ReadBack {
  public:
    explicit ReadBack(const StreamCheck& check) : m_check(check) {}
    Result<void> Run();

  private:
    Result<void> ReadSlot(int number);
    Result<void> Keep(FileData& record, ByteSpan stream, MutableByteSpan slot);
    Result<bool> WriteFiles(FileData& record, ByteSpan stream);
    void List(FileData record);
    void ShowSoFar();
    void ShowResult();

    const StreamCheck& m_check;
    StoreState& m_store = store::Store();
    DecodeTask m_decoding{m_store.MyJPG, m_store.geometry.lcdWidth, m_store.geometry.lcdHeight};
    LocalRoom m_room{m_store.geometry};
    ProgressMeter m_meter{Phase::Reading, CountStored(m_store.G_PictureList),
                          StoredBytes(m_store.G_PictureList)};
    std::int64_t m_bytes = 0;  // read so far
    int m_read = 0;
    std::chrono::steady_clock::time_point m_lastShown = std::chrono::steady_clock::now();
    bool m_gap = false;
};

void ClearSlot(MutableByteSpan slot) {
    std::ranges::fill(slot, std::uint8_t{0});
}

void Remove(const Path& file) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
}

bool IsAboutPicture(const Error& error) {
    return error.kind == ErrorKind::Damaged || error.kind == ErrorKind::Refused;
}

// Slots 1 to `count` describe the listed pictures afterwards, whatever stood between them.
void CompactTable(int count) {
    auto& table = Store().G_PictureList;
    for (int slot = 1; slot <= kSlotCount; ++slot) {
        if (SlotOf(table, slot)[0] != kSlotStored)
            SlotOf(table, slot)[0] = kSlotFree;
    }
    MovePicAddressInPicList(count);
}

// Whether it is a picture, or may be one.
Result<bool> ReadBack::WriteFiles(FileData& record, ByteSpan stream) {
    record.onlyOnFrame = !m_room.HasRoomFor(record.picSize);
    record.whyNoBitmap = m_room.WhyNoBitmap(record.picSize);
    const bool decodes = record.whyNoBitmap.empty();
    // Both files are made at the same time: most of it is the kernel's work on two folders.
    if (decodes)
        m_decoding.Begin(stream, record.fileRef);
    const auto written =
        record.onlyOnFrame ? Result<void>() : WriteFile(StreamPath(record.fileName), stream, Links::Replace);
    record.streamHash = Sha256(stream);
    const bool decoded = decodes && m_decoding.End();
    if (!written) {
        Remove(record.fileRef);
        return tl::unexpected(written.error());
    }
    if (decoded || !decodes)
        return true;
    const Error& error = m_store.MyJPG->LastError();
    record.whyNoBitmap = error.message;
    if (error.kind == ErrorKind::TooLarge)
        return true;
    Remove(StreamPath(record.fileName));
    if (IsAboutPicture(error))
        return false;
    // A full disk says nothing about the picture, which must not lose its place for that.
    return tl::unexpected(error);
}

Result<void> ReadBack::Keep(FileData& record, ByteSpan stream, MutableByteSpan slot) {
    LUMATO_TRY(const bool isPicture, WriteFiles(record, stream));
    if (isPicture)
        List(std::move(record));
    else
        ClearSlot(slot);  // nothing that the frame could show: it goes with the next download
    return {};
}

void ReadBack::List(FileData record) {
    m_room.Take(record);
    AddNode(m_store.gmyPictureData.get(), new FileData(std::move(record)));
    ShowNote(kReadPicture, m_read);
    ++m_read;
    ShowSoFar();
}

// Whoever waits for many pictures sees them come; each view of the list costs as much as it is long.
void ReadBack::ShowSoFar() {
    const auto now = std::chrono::steady_clock::now();
    if (now - m_lastShown < kShowInterval)
        return;
    m_lastShown = now;
    m_store.status->ShowPictureList(m_read, 0);
}

// Fails, which ends the walk, for what says nothing about the picture.
Result<void> ReadBack::ReadSlot(int number) {
    const MutableByteSpan slot = SlotOf(m_store.G_PictureList, number);
    if (slot[0] == kSlotFree)
        m_gap = true;
    if (slot[0] != kSlotStored)
        return {};
    if (!m_store.geometry.HoldsPicture(SlotAddress(slot), SlotLength(slot))) {
        ClearSlot(slot);
        return {};
    }
    LUMATO_TRY_VOID(MayReadOn());
    m_meter.Reach(m_read + 1, m_bytes);
    LUMATO_TRY(const Stream stream, ReadPictureBytes(SlotAddress(slot), SlotLength(slot)));
    m_bytes += SlotLength(slot);
    if (m_check && !m_check(number, stream)) {
        ClearSlot(slot);
        return {};
    }
    const std::string name = "DPFPicture" + std::to_string(m_read + 1) + ".bmp";
    FileData record{.fileRef = BitmapPath(name),
                    .fileName = name,
                    .inFrame = 1,
                    .afterGap = static_cast<std::uint8_t>(m_gap ? 1 : 0),
                    .seqIndex = m_read,
                    .picSize = SlotLength(slot)};
    return Keep(record, stream, slot);
}

void ReadBack::ShowResult() {
    ShowNote(m_read > 0 ? kPicturesInFrame : kNoPictures);
    m_store.gmyTotalePictureNum = m_store.gmyPictureData->count;
    m_store.gmyTotalePicture = m_store.gmyPictureData->count;
    m_store.gmyCurrentSelectItem = 0;
    ShowNumbers();
    m_store.status->ShowPictureList(m_store.gmyTotalePictureNum, 0);
}

Result<void> ReadBack::Run() {
    m_store.status->SetControlPanlEnable(false);
    ShowNote(kReadPictures);
    m_store.gmyPictureData.reset(CreateList());
    for (int slot = 1; slot <= kSlotCount; ++slot) {
        if (const Result<void> read = ReadSlot(slot); !read) {
            m_store.status->SetDownLoadPrcess(0);
            if (StopRequested())
                m_store.status->ShowPictureList(m_read, 0);
            return read;
        }
    }
    m_meter.Reach(m_read, m_bytes);
    ShowResult();
    if (m_read > 0)
        CompactTable(m_read);
    m_store.gmyIsTransferData = false;
    return {};
}

}  // namespace

Result<void> MayReadOn() {
    if (StopRequested())
        return Fail(ErrorKind::Refused, kReadAgain);
    return {};
}

// The buffer has room for what the last read brings beyond them.
Result<Stream> ReadPictureBytes(std::int32_t address, std::int32_t length) {
    Stream stream(static_cast<std::size_t>(length) + kReadUnit);
    for (std::int32_t done = 0; done < length; done += flash::kBlockSize) {
        const std::int32_t left = length - done;
        std::int32_t size =
            left > flash::kBlockSize ? flash::kBlockSize : (left + kReadUnit - 1) / kReadUnit * kReadUnit;
        size = std::min(size, Store().geometry.flashSize - (address + done));
        if (!flash::ReadFlashData(stream.data() + done, size, address + done))
            return Fail(ErrorKind::Unreadable, kPictureUnreadable);
    }
    stream.resize(static_cast<std::size_t>(length));
    return stream;
}

Result<Stream> StreamOf(const FileData& record, std::int32_t address) {
    if (record.onlyOnFrame) {
        const std::int32_t at = record.inFrame == 1 ? address : record.oldAddress;
        LUMATO_TRY(Stream stream, ReadPictureBytes(at, record.picSize));
        PutBlocksBack(Store().blocksAtRisk, at, stream);
        return stream;
    }
    return ReadPlainFile(StreamPath(record.fileName), static_cast<std::uintmax_t>(record.picSize));
}

Result<Stream> StreamToWrite(FileData& record, std::int32_t address) {
    LUMATO_TRY(Stream stream, StreamOf(record, address));
    if (stream.size() != static_cast<std::size_t>(record.picSize))
        return Fail(
            ErrorKind::Refused,
            About(record.fileName, Phrase("LOCAL_FILE_SHORT", "the picture's local file is too short")));
    // All that a download writes is less than the flash.
    if (record.onlyOnFrame) {
        LUMATO_TRY_VOID(WriteFile(StreamPath(record.fileName), stream, Links::Replace));
        record.onlyOnFrame = false;
    }
    return stream;
}

Result<void> ReadPictures(const StreamCheck& check) {
    return ReadBack(check).Run();
}

bool ReadPicFromFlash() {
    return ReadPictures().has_value();
}

}  // namespace lumato::store
