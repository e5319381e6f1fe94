// Our own reader of bitmap files: the layout that this system writes and the common variants, with 1, 2, 4,
// 8, 16, 24 and 32 bits per pixel, palettes, bit masks, run lengths, either row order and the OS/2 headers.
//
// Any thread; a file and a builder belong to one call.
#pragma once

#include "import/picture_builder.h"
#include "import/picture_file.h"

namespace lumato::picture {

// Whether the first bytes of a file (26 suffice) are a bitmap's, as far as two letters and a header size
// tell: plain text can begin with "BM" too.
[[nodiscard]] bool StartsLikeBitmap(ByteSpan start);

// Reads row by row. Transparency is ignored, as most writers leave it undefined. Errors: Damaged, TooLarge,
// Unsupported, Unreadable.
[[nodiscard]] Result<void> ImportBmp(const PictureFile& file, PictureBuilder& builder);

}  // namespace lumato::picture
