// Imported pixels as an image that Qt can paint.
//
// No state; callable from any thread.
#pragma once

#include <QImage>

#include "import/bitmap_info.h"
#include "jpeg/decoder.h"

namespace lumato::app {

// A copy, top row first. Requires: `info` is held at its own size, top row first; null without pixels.
[[nodiscard]] QImage ImageOf(const picture::BitmapInfo& info);

// A decoded stream, as the frame shows it.
[[nodiscard]] QImage ImageOf(const jpeg::DecodedPicture& picture);
// What picture::RenderLcdBitmap() made: blue, green, red, bottom row first.
[[nodiscard]] QImage ImageOf(const std::vector<std::uint8_t>& composed, int width, int height);

// One of the store's own bitmaps, read from its file; null when it cannot be read.
[[nodiscard]] QImage ReadBitmap(const Path& file);

}  // namespace lumato::app
