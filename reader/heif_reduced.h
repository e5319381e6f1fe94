// HEIF files (HEVC and AV1 pictures) smaller than they are stored, for a photograph's usual kind of them.
#pragma once

#include <cstdint>

#include "reader/messages.h"
#include "reader/vips_image.h"

namespace lumato::reader {

// Puts the picture's halves, quarters or eighths, as far down as `most` allows, in the place of `image`,
// which libvips opened from the descriptor: each pixel the mean of those that it covers. Returns
// Coming::eighths. Where that is 0, the image is as it was: there is nothing to reduce, or it is transparent,
// or of more than 8 bits, or broken, which libvips then finds, too.
[[nodiscard]] std::uint8_t ReduceHeif(Image& image, int descriptor, const Job& job, int most);

}  // namespace lumato::reader
