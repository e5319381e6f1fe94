// Makes the flash of a fresh virtual frame: its device information block, everything else erased.
//
// No state; callable from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/error.h"
#include "base/file.h"

namespace lumato::vframe {

struct NewFrame {
    std::uint32_t lcdWidth = 0;            // 1 to 65,535
    std::uint32_t lcdHeight = 0;           // 1 to 65,535
    std::uint32_t flashSize = 0;           // a multiple of 4,096 from 131,072 to 16,711,680
    std::uint32_t tableAddress = 0x10000;  // a multiple of 65,536, not 0, with a block behind it on the flash
    std::uint32_t pictureLimit = 0;        // at most 65,535; 0: none
    std::uint32_t sampling = 4;            // a byte
    std::uint32_t quality = 90;            // a byte
    std::uint32_t eraseInstruction = 0xD8;  // 0x20, 0x52 or 0xD8
    std::uint32_t pageOption = 0;           // a byte
    // With it the block has a valid firmware header, which leads to this address; rounded up to a block it is
    // where the table is, whatever tableAddress says.
    std::optional<std::uint32_t> firmwareEnd = std::nullopt;
};

// What is wrong with the options: Refused, the message names the value. Nothing is touched.
[[nodiscard]] Result<void> CheckNewFrame(const NewFrame& options);

// The flash's bytes. Errors: those of the check.
[[nodiscard]] Result<std::vector<std::uint8_t>> MakeFlash(const NewFrame& options);

// Writes them to a new file, complete or not at all. Errors: those of the check; Unwritable when the name is
// taken, as a frame's pictures are never overwritten; those of WriteFile().
[[nodiscard]] Result<void> CreateFrame(const Path& path, const NewFrame& options);
// The same with the bytes of a file: the whole flash of some frame. Errors: Unsupported, too, when it is
// none.
[[nodiscard]] Result<void> CreateFrame(const Path& path, const Path& dump);

}  // namespace lumato::vframe
