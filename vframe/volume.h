// The frame's mass-storage volume: a small read-only disk, always the same bytes.
//
// Block 0 is a master boot record with one partition at block 63, which holds a FAT12 file system labelled
// "LUMATO" with the file "LanguageUnicode.ini" in its root. No state.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/bytes.h"

namespace lumato::vframe {

inline constexpr std::size_t kVolumeBlockSize = 512;
inline constexpr std::uint32_t kVolumeBlocks = 4096;  // 2 MiB
inline constexpr std::uint32_t kPartitionStart = 63;

inline constexpr std::string_view kVolumeLabel = "LUMATO";
inline constexpr std::string_view kVolumeMarkName = "LanguageUnicode.ini";

// What the file holds: UTF-16LE text with a byte-order mark.
[[nodiscard]] std::vector<std::uint8_t> VolumeMarkContent();

// The whole disk, kVolumeBlocks * kVolumeBlockSize bytes. Made when somebody first looks: few who have a
// frame do. Any thread.
[[nodiscard]] ByteSpan VolumeBytes();

}  // namespace lumato::vframe
