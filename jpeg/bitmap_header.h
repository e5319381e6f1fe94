// The header of the one bitmap file layout of the system.
//
// No state; callable from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"

namespace lumato::jpeg {

inline constexpr std::size_t kBitmapHeaderSize = 54;

// Bytes of a row of 3-byte pixels with its padding.
[[nodiscard]] constexpr std::size_t BitmapStride(int width) {
    return (static_cast<std::size_t>(width) * 3 + 3) / 4 * 4;
}

// Writes the header of a bitmap of 24 bits per pixel, bottom row first. `imageSize` is the value of the
// header field of that name: the bytes of all rows, or 0. Requires: `header` holds kBitmapHeaderSize bytes.
void PutBitmapHeader(MutableByteSpan header, int width, int height, std::uint32_t imageSize);

// True when the whole file's size fits the header's 32 bits.
[[nodiscard]] constexpr bool FitsBitmapFile(int width, int height) {
    return BitmapStride(width) * static_cast<std::size_t>(height) <= 0xFFFFFFFF - kBitmapHeaderSize;
}

}  // namespace lumato::jpeg
