// The one bitmap file layout of the system: 54-byte header, 24 bits per pixel, bottom row first, rows padded
// to 4 bytes.
//
// Any thread; no two write the same file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/error.h"
#include "base/file.h"
#include "jpeg/bitmap_header.h"

namespace lumato::picture {

using jpeg::BitmapStride;
using jpeg::kBitmapHeaderSize;

// Writes `height` rows of `width` x 3 bytes (blue, green, red), without padding, in the order in which they
// are to be stored (first row = bottom row of the picture).
[[nodiscard]] Result<void> SaveBmpFile(ByteSpan pixels, int width, int height, const Path& path,
                                       Links links = Links::Replace);

// The pixel array of a bitmap file of exactly that size, 16 or 24 bits per pixel, as the encoder takes it:
// rows of blue, green, red padded to 4 bytes, bottom row first. Rows that the file lacks are black. Errors:
// NotFound, Unreadable, Unsupported (no bitmap), Refused (another size).
[[nodiscard]] Result<std::vector<std::uint8_t>> LoadPicFromDir(const Path& path, int width, int height);

}  // namespace lumato::picture
