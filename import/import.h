// Picture files into pixels: any format, with bounded memory.
//
// JPEG goes through libjpeg-turbo, bitmaps through our own reader, everything else through a reader, a
// process of its own that is started at its first use. Callable from any thread, one import at a time per
// BitmapInfo.
#pragma once

#include <memory>

#include "import/bitmap_info.h"
#include "import/row_taker.h"

namespace lumato::picture {

// Imports `file` into `info`, whose earlier contents are replaced; bottom row first if `flipRows`. With a
// `taker` it is handed out row by row instead, as it is stored, and `info` gets no pixels. Errors, each with
// a message that names the reason but not the file: NotFound, Unreadable (folders, too), Unsupported (no
// picture), Damaged (a picture, but broken or cut off), TooLarge. On failure `info` has no pixels.
[[nodiscard]] Result<void> CreateMyImage(const Path& file, bool flipRows, const ScaleNeeded& scaleNeeded,
                                         BitmapInfo& info, Processors processors = Processors::All,
                                         Held held = Held::AsShown, RowTaker* taker = nullptr);

// True when an importer accepts the file, by its contents: decides what counts as a picture. Reads only its
// start.
[[nodiscard]] bool IsPicture(const Path& file);

// A PNG file of `width` x `height` pixels of 3 bytes (red, green, blue), top row first.
[[nodiscard]] Result<void> WritePng(const Path& file, int width, int height, ByteSpan pixels);

}  // namespace lumato::picture
