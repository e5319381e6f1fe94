#include "store/read_back.h"

#include <algorithm>
#include <memory>
#include <system_error>

#include "flash/checked_transfer.h"
#include "store/decode_task.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/store.h"

namespace lumato::store {
namespace {

constexpr int kReadUnit = 64;  // the last read of a picture is rounded up to it

using Stream = std::vector<std::uint8_t>;

class ReadBack {
  public:
    explicit ReadBack(const StreamCheck& check) : m_check(check) {}
    bool Run();

  private:
    bool ReadSlot(int number);
    bool Store(const std::string& name, ByteSpan stream, MutableByteSpan slot);
    void AddRecord(const std::string& name, ByteSpan stream, const Digest& hash);
    void ShowResult();

    const StreamCheck& m_check;
    StoreState& m_store = store::Store();
    DecodeTask m_decoding{m_store.MyJPG, static_cast<int>(m_store.gmyLcdWidth),
                          static_cast<int>(m_store.gmyLcdHeight)};
    int m_read = 0;
    bool m_gap = false;
};

bool InPictureArea(ByteSpan slot) {
    return SlotAddress(slot) >= Store().G_PicListAddress &&
           SlotAddress(slot) + SlotLength(slot) <= Store().G_FlashTotalSize;
}

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

bool ReadBack::Store(const std::string& name, ByteSpan stream, MutableByteSpan slot) {
    // Both files are made at the same time: most of it is the kernel's work on two folders.
    m_decoding.Begin(stream, BitmapPath(name));
    const auto written = WriteFile(StreamPath(name), stream, Links::Replace);
    const auto hash = Sha256(stream);
    const bool decoded = m_decoding.End();
    if (!written) {
        Remove(BitmapPath(name));
        return Because(written.error().message);
    }
    if (decoded) {
        AddRecord(name, stream, hash);
        return true;
    }
    Remove(StreamPath(name));
    // A full disk says nothing about the picture, which must not lose its place for that.
    if (const Error& error = m_store.MyJPG->LastError(); !IsAboutPicture(error))
        return Because(error.message);
    ClearSlot(slot);  // nothing that the frame could show: it goes with the next download
    return true;
}

void ReadBack::AddRecord(const std::string& name, ByteSpan stream, const Digest& hash) {
    const auto size = static_cast<std::int32_t>(stream.size());
    auto record = std::make_unique<FileData>();
    record->fileRef = BitmapPath(name);
    record->fileName = name;
    record->inFrame = 1;
    record->afterGap = m_gap ? 1 : 0;
    record->seqIndex = m_read;
    record->picSize = size;
    record->streamHash = hash;
    AddNode(m_store.gmyPictureData.get(), record.release());
    m_store.TotolFlashSizeForPic -= size;
    ShowNote(kReadPicture, m_read);
    ++m_read;
}

// False ends the walk; a slot that describes no picture does not.
bool ReadBack::ReadSlot(int number) {
    const MutableByteSpan slot = SlotOf(m_store.G_PictureList, number);
    if (slot[0] == kSlotFree)
        m_gap = true;
    if (slot[0] != kSlotStored)
        return true;
    if (!InPictureArea(slot)) {
        ClearSlot(slot);
        return true;
    }
    Stream stream;
    if (!ReadPictureBytes(SlotAddress(slot), SlotLength(slot), stream))
        return false;
    if (m_check && !m_check(number, stream)) {
        ClearSlot(slot);
        return true;
    }
    return Store("DPFPicture" + std::to_string(m_read + 1) + ".bmp", stream, slot);
}

void ReadBack::ShowResult() {
    ShowNote(m_read > 0 ? kPicturesInFrame : kNoPictures);
    m_store.gmyTotalePictureNum = m_store.gmyPictureData->count;
    m_store.gmyTotalePicture = m_store.gmyPictureData->count;
    m_store.gmyCurrentSelectItem = 0;
    ShowNumbers();
    m_store.status->ShowPictureList(m_store.gmyTotalePictureNum, 0);
}

bool ReadBack::Run() {
    m_store.status->SetControlPanlEnable(false);
    ShowNote(kReadPictures);
    m_store.gmyPictureData.reset(CreateList());
    for (int slot = 1; slot <= kSlotCount; ++slot) {
        if (!ReadSlot(slot)) {
            m_store.status->SetDownLoadPrcess(0);
            return false;
        }
    }
    ShowResult();
    if (m_read > 0)
        CompactTable(m_read);
    m_store.gmyIsTransferData = false;
    return true;
}

}  // namespace

// The buffer has room for what the last read brings beyond them.
bool ReadPictureBytes(std::int32_t address, std::int32_t length, Stream& stream) {
    stream.resize(static_cast<std::size_t>(length) + kReadUnit);
    for (std::int32_t done = 0; done < length; done += flash::kBlockSize) {
        const std::int32_t left = length - done;
        std::int32_t size =
            left > flash::kBlockSize ? flash::kBlockSize : (left + kReadUnit - 1) / kReadUnit * kReadUnit;
        size = std::min(size, Store().G_FlashTotalSize - (address + done));
        if (!flash::ReadFlashData(stream.data() + done, size, address + done))
            return Because("a picture could not be read from the frame");
    }
    stream.resize(static_cast<std::size_t>(length));
    return true;
}

bool ReadPicFromFlash(const StreamCheck& check) {
    return ReadBack(check).Run();
}

bool ReadPicFromFlash() {
    return ReadPicFromFlash(StreamCheck());
}

}  // namespace lumato::store
