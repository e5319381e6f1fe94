#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/diagnostics.h"
#include "flash/checked_transfer.h"
#include "flash/process_flash.h"
#include "store/picture_table.h"
#include "store/store.h"

namespace lumato::store {
namespace {

constexpr int kInformationSize = 512;
constexpr int kFirmwareTailSize = 64;
constexpr int kFirmwareTailDistance = 512;

// The device information block's fields, little-endian.
struct Information {
    std::int32_t tableAddress = 0;
    std::int32_t lcdWidth = 0;
    std::int32_t lcdHeight = 0;
    std::uint8_t eraseInstruction = 0;
    std::uint8_t pageOption = 0;
    std::int32_t flashSize = 0;
    std::int32_t pictureLimit = 0;
    std::uint8_t sampling = 0;
    std::uint8_t quality = 0;
};

Information ParseInformation(ByteSpan block) {
    Information said;
    said.tableAddress = static_cast<std::int32_t>(GetLe24(block.subspan(32)));
    said.lcdWidth = GetLe16(block.subspan(35));
    said.lcdHeight = GetLe16(block.subspan(37));
    said.eraseInstruction = block[39];
    said.pageOption = block[40];
    said.flashSize = static_cast<std::int32_t>(GetLe24(block.subspan(43)));
    said.pictureLimit = GetLe16(block.subspan(46));
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
bool FindTableBehindFirmware(ByteSpan block, Information& said) {
    const std::int32_t at = static_cast<std::int32_t>(GetLe24(block.subspan(261))) - kFirmwareTailDistance;
    if (at < 0 || at + kFirmwareTailSize > said.flashSize)
        return Because("the firmware header points outside the frame's flash");
    std::array<std::uint8_t, kFirmwareTailSize> tail{};
    if (!flash::Flash().m_PtrPF->ReadFromFlash(reinterpret_cast<char*>(tail.data()), kFirmwareTailSize,
                                               static_cast<unsigned long>(at)))
        return Because("the end of the frame's firmware could not be read");
    const auto end = static_cast<std::int32_t>(GetLe24(ByteSpan(tail).subspan(11)));
    said.tableAddress = (end + flash::kBlockSize - 1) / flash::kBlockSize * flash::kBlockSize;
    return true;
}

// Whatever is erased and programmed later rests on these values, and a wrong one could cost the firmware.
bool MakesSense(const Information& said) {
    if (said.lcdWidth < 1 || said.lcdHeight < 1)
        return Because("the frame reports no display size");
    if (said.tableAddress < flash::kBlockSize || said.tableAddress % flash::kBlockSize != 0)
        return Because("the frame reports a picture table where none can be");
    if (said.tableAddress + flash::kBlockSize > said.flashSize)
        return Because("the frame reports a picture table beyond its flash");
    // 60h and C7h erase the whole chip (SPI NOR data sheets), firmware included.
    if (said.eraseInstruction == 0x60 || said.eraseInstruction == 0xC7)
        return Because("the frame reports an erase instruction that would erase its firmware");
    return true;
}

void TakeOver(const Information& said) {
    StoreState& store = Store();
    store.gmyLcdWidth = static_cast<float>(said.lcdWidth);
    store.gmyLcdHeight = static_cast<float>(said.lcdHeight);
    store.G_PicListAddress = said.tableAddress;
    store.G_FlashTotalSize = said.flashSize;
    store.G_TotalPicNum = said.pictureLimit;
    store.G_YValue = said.sampling;
    store.G_PicQuality = said.quality;
    store.eraseInstruction = said.eraseInstruction;
    store.pageOption = said.pageOption;

    flash::CProcessFlash& frame = *flash::Flash().m_PtrPF;
    frame.SetFlashCommand(said.eraseInstruction, static_cast<char>(said.pageOption != 0));
    frame.SetWriteRange(
        {static_cast<std::uint32_t>(said.tableAddress), static_cast<std::uint32_t>(said.flashSize)});
}

// Of what is understood, so that a change in any other byte leaves a frame what it is. Frames of one model
// answer alike.
Digest Identify(const Information& said) {
    std::array<std::uint8_t, 36> identity{};
    std::size_t at = 0;
    for (const std::int32_t value :
         {said.tableAddress, said.lcdWidth, said.lcdHeight, said.flashSize, said.pictureLimit,
          std::int32_t{said.eraseInstruction}, std::int32_t{said.pageOption}, std::int32_t{said.sampling},
          std::int32_t{said.quality}}) {
        PutLe32(MutableByteSpan(identity).subspan(at), static_cast<std::uint32_t>(value));
        at += 4;
    }
    return Sha256(identity);
}

}  // namespace

bool IsTable(ByteSpan table) {
    return std::memcmp(table.data(), "ABFS", 4) == 0 && table[kEndMarkOffset] == 0x55 &&
           table[kEndMarkOffset + 1] == 0xAA;
}

bool GetInformation() {
    std::array<std::uint8_t, kInformationSize> block{};
    if (flash::Flash().m_PtrPF == nullptr || !flash::ReadFlashData(block.data(), kInformationSize, 0))
        return Because("the frame's device information could not be read");
    Information said = ParseInformation(block);
    if (HasFirmwareHeader(block) && !FindTableBehindFirmware(block, said))
        return false;
    if (!MakesSense(said))
        return false;
    TakeOver(said);
    Store().frameIdentity = Identify(said);
    Diagnose("addr:" + std::to_string(said.tableAddress));
    char width[40];
    std::snprintf(width, sizeof width, "LCDWidth:%f", static_cast<double>(said.lcdWidth));
    Diagnose(width);
    return true;
}

bool ReadPictureList() {
    StoreState& store = Store();
    store.G_PictureList.fill(0);
    if (!flash::ReadFlashData(store.G_PictureList.data(), kTableSize, store.G_PicListAddress)) {
        store.G_PictureList.fill(0);
        return Because("the frame's picture table could not be read");
    }
    store.tableOnFrame = store.G_PictureList;
    if (IsTable(store.G_PictureList))
        return true;
    // A new frame, or one whose download was broken off: no pictures.
    store.G_PictureList.fill(0);
    std::memcpy(store.G_PictureList.data(), "ABFS", 4);
    SetEndMark(store.G_PictureList);
    return true;
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
