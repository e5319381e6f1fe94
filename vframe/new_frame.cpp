#include "vframe/new_frame.h"

#include <algorithm>
#include <array>
#include <string>
#include <system_error>

#include "base/bytes.h"
#include "base/printable.h"
#include "vframe/device_information.h"
#include "vframe/display.h"
#include "vframe/flash_image.h"

namespace lumato::vframe {
namespace {

// The size field has 24 bits; this is the largest number of whole blocks that fits in them.
constexpr std::uint32_t kLargestStatedSize = 0xFF0000;
// Where the firmware header leads: inside the first block, and so below every table.
constexpr std::uint32_t kFirmwarePointer = 0x8200;

using InformationBlock = std::array<std::uint8_t, kInformationSize>;

Result<void> CheckRange(const char* what, std::uint32_t value, std::uint32_t least, std::uint32_t most) {
    if (value >= least && value <= most)
        return {};
    return Fail(ErrorKind::Refused, std::string(what) + " " + std::to_string(value) + " is not from " +
                                        std::to_string(least) + " to " + std::to_string(most));
}

Result<void> CheckFlashSize(std::uint32_t size) {
    LUMATO_TRY_VOID(CheckRange("flash size", size, kSmallestFlash, kLargestStatedSize));
    if (size % kFlashGranule != 0)
        return Fail(ErrorKind::Refused, "flash size " + std::to_string(size) + " is not a multiple of " +
                                            std::to_string(kFlashGranule));
    return {};
}

Result<void> CheckTable(const char* what, std::uint32_t address, std::uint32_t flashSize) {
    LUMATO_TRY_VOID(CheckRange(what, address, kBlock, flashSize - kBlock));
    if (address % kBlock != 0)
        return Fail(ErrorKind::Refused, std::string(what) + " " + std::to_string(address) +
                                            " is not a multiple of " + std::to_string(kBlock));
    return {};
}

Result<void> CheckFirmwareEnd(std::uint32_t end, std::uint32_t flashSize) {
    // Checked before it is rounded, so that rounding cannot overflow.
    LUMATO_TRY_VOID(CheckRange("firmware end", end, 1, flashSize));
    return CheckTable("table address behind the firmware", RoundUpToBlock(end), flashSize);
}

Result<void> CheckEraseInstruction(std::uint32_t instruction) {
    if (instruction == 0x20 || instruction == 0x52 || instruction == 0xD8)
        return {};
    return Fail(ErrorKind::Refused, "the erase instruction is one of 20, 52 and D8 (hexadecimal)");
}

void PutInformation(InformationBlock& block, const NewFrame& options) {
    const MutableByteSpan bytes(block);
    PutLe24(bytes.subspan(kAtTableAddress), options.tableAddress);
    PutLe16(bytes.subspan(kAtLcdWidth), options.lcdWidth);
    PutLe16(bytes.subspan(kAtLcdHeight), options.lcdHeight);
    block[kAtEraseInstruction] = static_cast<std::uint8_t>(options.eraseInstruction);
    block[kAtPageOption] = static_cast<std::uint8_t>(options.pageOption);
    PutLe24(bytes.subspan(kAtFlashSize), options.flashSize);
    PutLe16(bytes.subspan(kAtPictureLimit), options.pictureLimit);
    block[kAtSampling] = static_cast<std::uint8_t>(options.sampling);
    block[kAtQuality] = static_cast<std::uint8_t>(options.quality);
}

void PutFirmwareHeader(InformationBlock& block) {
    const MutableByteSpan bytes(block);
    std::copy(kFirmwareMark.begin(), kFirmwareMark.end(), block.begin() + kAtFirmwareMark);
    const std::uint16_t sum = Sum16(bytes.subspan(kAtFirmwareMark, kFirmwareMark.size()));
    block[kAtFirmwareCheck] = static_cast<std::uint8_t>(0x100 - sum % 0x100);
    PutLe24(bytes.subspan(kAtFirmwarePointer), kFirmwarePointer);
}

Result<void> WriteNewFile(const Path& path, ByteSpan flash) {
    std::error_code unknown;
    if (std::filesystem::exists(std::filesystem::symlink_status(path, unknown)))
        return Fail(ErrorKind::Unwritable,
                    About(Printable(path.native()), Phrase("EXISTS_ALREADY", "exists already")));
    return WriteFile(path, flash);
}

}  // namespace

Result<void> CheckNewFrame(const NewFrame& options) {
    LUMATO_TRY_VOID(CheckRange("LCD width", options.lcdWidth, 1, 65535));
    LUMATO_TRY_VOID(CheckRange("LCD height", options.lcdHeight, 1, 65535));
    LUMATO_TRY_VOID(CheckFlashSize(options.flashSize));
    LUMATO_TRY_VOID(CheckTable("table address", options.tableAddress, options.flashSize));
    LUMATO_TRY_VOID(CheckRange("picture limit", options.pictureLimit, 0, 65535));
    LUMATO_TRY_VOID(CheckRange("sampling", options.sampling, 0, 255));
    LUMATO_TRY_VOID(CheckRange("quality", options.quality, 0, 255));
    LUMATO_TRY_VOID(CheckEraseInstruction(options.eraseInstruction));
    LUMATO_TRY_VOID(CheckRange("page option", options.pageOption, 0, 255));
    if (options.firmwareEnd)
        return CheckFirmwareEnd(*options.firmwareEnd, options.flashSize);
    return {};
}

Result<std::vector<std::uint8_t>> MakeFlash(const NewFrame& options) {
    LUMATO_TRY_VOID(CheckNewFrame(options));
    InformationBlock block;
    block.fill(0xFF);
    PutInformation(block, options);
    std::vector<std::uint8_t> flash(options.flashSize, 0xFF);
    if (options.firmwareEnd) {
        PutFirmwareHeader(block);
        const std::size_t record = kFirmwarePointer - kFirmwareRecordBack;
        PutLe24(MutableByteSpan(flash).subspan(record + kAtFirmwareEnd), *options.firmwareEnd);
    }
    std::copy(block.begin(), block.end(), flash.begin());
    return flash;
}

Result<void> CreateFrame(const Path& path, const NewFrame& options) {
    LUMATO_TRY(const auto flash, MakeFlash(options));
    return WriteNewFile(path, flash);
}

Result<void> CreateFrame(const Path& path, const Path& dump) {
    LUMATO_TRY(const auto flash, ReadFlashImage(dump));
    if (const auto frame = Display::PowerOn(flash); !frame)
        return tl::unexpected(Context(Printable(dump.native()), frame.error()));
    const std::uint32_t stated = GetLe24(ByteSpan(flash).subspan(kAtFlashSize));
    if (stated > flash.size())
        return Fail(ErrorKind::Unsupported, Printable(dump.native()) + ": no whole flash: it speaks of " +
                                                std::to_string(stated) + " bytes and has " +
                                                std::to_string(flash.size()));
    return WriteNewFile(path, flash);
}

}  // namespace lumato::vframe
