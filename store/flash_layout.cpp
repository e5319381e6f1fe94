#include "store/flash_layout.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/diagnostics.h"
#include "device/command_trace.h"
#include "flash/checked_transfer.h"
#include "flash/process_flash.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/store.h"

namespace lumato::store {
namespace {

constexpr int kInformationSize = 512;
constexpr int kTailRecordDistance = 512;

// The device information block's fields, little-endian.
struct Information {
    ReportedGeometry geometry;
    std::uint8_t pageOption = 0;
    std::uint8_t sampling = 0;
    std::uint8_t quality = 0;
};

Information ParseInformation(ByteSpan block) {
    Information said;
    said.geometry.tableAddress = static_cast<std::int32_t>(GetLe24(block.subspan(32)));
    said.geometry.lcdWidth = GetLe16(block.subspan(35));
    said.geometry.lcdHeight = GetLe16(block.subspan(37));
    said.geometry.eraseInstruction = block[39];
    said.pageOption = block[40];
    said.geometry.flashSize = static_cast<std::int32_t>(GetLe24(block.subspan(43)));
    said.geometry.pictureLimit = GetLe16(block.subspan(46));
    said.sampling = block[48];
    said.quality = block[49];
    return said;
}

bool HasFirmwareHeader(ByteSpan block) {
    const ByteSpan header = block.subspan(256, 5);
    return std::memcmp(header.data(), "DPFH", 4) == 0 && (Sum16(header) & 0xFF) == 0;
}

// The firmware's own end decides where the table lies when there is a valid header. Without the bytes that
// tell it the table's place is not known, and a guess could overwrite the firmware.
Result<void> FindTableBehindFirmware(ByteSpan block, ReportedGeometry& said) {
    const std::int32_t at = static_cast<std::int32_t>(GetLe24(block.subspan(261))) - kTailRecordDistance;
    if (at < 0 || at + kTailRecordSize > said.flashSize)
        return Fail(ErrorKind::Refused, Phrase("FIRMWARE_POINTS_OUTSIDE",
                                               "the firmware header points outside the frame's flash"));
    device::Commands().KeepWhole(static_cast<std::uint32_t>(at), kTailRecordSize);
    std::array<std::uint8_t, kTailRecordSize> tail{};
    if (!flash::Flash().m_PtrPF->ReadFromFlash(reinterpret_cast<char*>(tail.data()), kTailRecordSize,
                                               static_cast<unsigned long>(at)))
        return Fail(ErrorKind::Unreadable,
                    Phrase("FIRMWARE_END_NOT_READ", "the end of the frame's firmware could not be read"));
    const auto end = static_cast<std::int32_t>(GetLe24(ByteSpan(tail).subspan(11)));
    said.tableAddress = (end + flash::kBlockSize - 1) / flash::kBlockSize * flash::kBlockSize;
    said.tailRecord = at;
    return {};
}

void TakeOver(const Information& said, const FrameGeometry& geometry) {
    StoreState& store = Store();
    store.geometry = geometry;
    store.gmyLcdWidth = static_cast<float>(geometry.lcdWidth);
    store.gmyLcdHeight = static_cast<float>(geometry.lcdHeight);
    store.G_PicListAddress = geometry.tableAddress;
    store.G_FlashTotalSize = geometry.flashSize;
    store.G_TotalPicNum = said.geometry.pictureLimit;
    store.G_YValue = said.sampling;
    store.G_PicQuality = said.quality;
    store.eraseInstruction = said.geometry.eraseInstruction;
    store.pageOption = said.pageOption;
    device::Commands().KeepWhole(static_cast<std::uint32_t>(geometry.tableAddress), kTableSize);

    flash::CProcessFlash& frame = *flash::Flash().m_PtrPF;
    frame.SetFlashCommand(store.eraseInstruction, static_cast<char>(said.pageOption != 0));
    frame.SetWriteRange({static_cast<std::uint32_t>(geometry.tableAddress),
                         static_cast<std::uint32_t>(geometry.writableEnd)});
}

// Of what is understood, so that a change in any other byte leaves a frame what it is. Frames of one model
// answer alike.
Digest Identify(const Information& said) {
    std::array<std::uint8_t, 36> identity{};
    std::size_t at = 0;
    for (const std::int32_t value :
         {said.geometry.tableAddress, said.geometry.lcdWidth, said.geometry.lcdHeight,
          said.geometry.flashSize, said.geometry.pictureLimit, std::int32_t{said.geometry.eraseInstruction},
          std::int32_t{said.pageOption}, std::int32_t{said.sampling}, std::int32_t{said.quality}}) {
        PutLe32(MutableByteSpan(identity).subspan(at), static_cast<std::uint32_t>(value));
        at += 4;
    }
    return Sha256(identity);
}

}  // namespace

MutableByteSpan SlotOf(MutableByteSpan table, int slot) {
    if (slot >= 1 && slot <= kSlotCount)
        return table.subspan(static_cast<std::size_t>(kTableHeaderSize + kSlotSize * (slot - 1)), kSlotSize);
    thread_local std::array<std::uint8_t, kSlotSize> none;
    none.fill(0);
    return none;
}

std::int64_t StoredBytes(MutableByteSpan table) {
    std::int64_t bytes = 0;
    for (int slot = 1; slot <= kMostPictures; ++slot) {
        const ByteSpan stored = SlotOf(table, slot);
        bytes += stored[0] == kSlotStored ? SlotLength(stored) : 0;
    }
    return bytes;
}

int CountStored(MutableByteSpan table) {
    int stored = 0;
    for (int slot = 1; slot <= kMostPictures; ++slot)
        stored += SlotOf(table, slot)[0] == kSlotStored ? 1 : 0;
    return stored;
}

bool IsTable(ByteSpan table) {
    return std::memcmp(table.data(), "ABFS", 4) == 0 && table[kEndMarkOffset] == 0x55 &&
           table[kEndMarkOffset + 1] == 0xAA;
}

Result<void> LearnGeometry() {
    std::array<std::uint8_t, kInformationSize> block{};
    if (flash::Flash().m_PtrPF == nullptr || !flash::ReadFlashData(block.data(), kInformationSize, 0))
        return Fail(ErrorKind::Unreadable,
                    Phrase("INFORMATION_NOT_READ", "the frame's device information could not be read"));
    Information said = ParseInformation(block);
    if (HasFirmwareHeader(block))
        LUMATO_TRY_VOID(FindTableBehindFirmware(block, said.geometry));
    LUMATO_TRY(const FrameGeometry geometry, FrameGeometry::Of(said.geometry));
    TakeOver(said, geometry);
    Store().frameIdentity = Identify(said);
    Diagnose("addr:" + std::to_string(geometry.tableAddress));
    char width[40];
    std::snprintf(width, sizeof width, "LCDWidth:%f", static_cast<double>(geometry.lcdWidth));
    Diagnose(width);
    return {};
}

bool GetInformation() {
    return LearnGeometry().has_value();
}

Result<void> ReadTable() {
    StoreState& store = Store();
    store.G_PictureList.fill(0);
    if (!flash::ReadFlashData(store.G_PictureList.data(), kTableSize, store.geometry.tableAddress)) {
        store.G_PictureList.fill(0);
        return Fail(ErrorKind::Unreadable, kTableUnreadable);
    }
    store.tableOnFrame = store.G_PictureList;
    store.picturesShown.reset();
    if (IsTable(store.tableOnFrame))
        store.picturesShown = CountStored(store.tableOnFrame);
    if (IsTable(store.G_PictureList))
        return {};
    // A new frame, or one whose download was broken off: no pictures.
    store.G_PictureList.fill(0);
    std::memcpy(store.G_PictureList.data(), "ABFS", 4);
    SetEndMark(store.G_PictureList);
    return {};
}

bool ReadPictureList() {
    return ReadTable().has_value();
}

void MovePicAddressInPicList(int count) {
    auto& table = Store().G_PictureList;
    auto before = table;
    std::fill(table.begin() + kTableHeaderSize, table.end(), std::uint8_t{0});
    int kept = 0;
    for (int slot = 1; slot <= kSlotCount && (count == 0 || kept < count); ++slot) {
        const ByteSpan from = SlotOf(before, slot);
        if (from[0] != kSlotFree && from[0] != kSlotErased)
            std::ranges::copy(from, SlotOf(table, ++kept).begin());
    }
}

}  // namespace lumato::store
