// Where the frame's device information block (flash bytes 0 to 511) and the record that its firmware header
// leads to hold their fields. Little-endian.
//
// The virtual frame's own copy of the layout: shared with the host side, an error in it would cancel out.
//
// Constants; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lumato::vframe {

inline constexpr std::size_t kInformationSize = 512;

inline constexpr std::size_t kAtTableAddress = 32;      // 3 bytes; counts without a firmware header
inline constexpr std::size_t kAtLcdWidth = 35;          // 2
inline constexpr std::size_t kAtLcdHeight = 37;         // 2
inline constexpr std::size_t kAtEraseInstruction = 39;  // 1
inline constexpr std::size_t kAtPageOption = 40;        // 1
inline constexpr std::size_t kAtFlashSize = 43;         // 3
inline constexpr std::size_t kAtPictureLimit = 46;      // 2, 0: no limit
inline constexpr std::size_t kAtSampling = 48;          // 1
inline constexpr std::size_t kAtQuality = 49;           // 1

inline constexpr std::size_t kAtFirmwareMark = 256;  // the mark and a check byte, which sum to 0
inline constexpr std::string_view kFirmwareMark = "DPFH";
inline constexpr std::size_t kAtFirmwareCheck = 260;
inline constexpr std::size_t kAtFirmwarePointer = 261;  // 3
// The record lies this far before the pointer; the picture table begins at the first multiple of a block
// that is not below the address in it.
inline constexpr std::uint32_t kFirmwareRecordBack = 512;
inline constexpr std::size_t kFirmwareRecordSize = 64;
inline constexpr std::size_t kAtFirmwareEnd = 11;  // 3, in the record

inline constexpr std::uint32_t kBlock = 65536;

constexpr std::uint32_t RoundUpToBlock(std::uint32_t address) {
    return (address + kBlock - 1) / kBlock * kBlock;
}

}  // namespace lumato::vframe
