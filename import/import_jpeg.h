// JPEG files, decoded at the smallest scale that serves.
//
// Any thread; a file and a builder belong to one call.
#pragma once

#include "import/picture_builder.h"
#include "import/picture_file.h"

namespace lumato::picture {

// Baseline and progressive, grey, YCbCr, RGB, CMYK and YCCK; orientation and profile as the file states
// them. `unsaid`: the orientation of a file without Exif. Errors: Damaged (also when the file ends early),
// TooLarge, Unsupported, Unreadable.
[[nodiscard]] Result<void> ImportJpeg(const PictureFile& file, PictureBuilder& builder, Processors processors,
                                      Orientation unsaid = Orientation::Upright);

// The same by libjpeg alone, whose word on every file ImportJpeg() must give: for tests.
[[nodiscard]] Result<void> ImportJpegByLibjpeg(const PictureFile& file, PictureBuilder& builder,
                                               Orientation unsaid = Orientation::Upright);

}  // namespace lumato::picture
