// HEIF files (HEVC and AV1 pictures) smaller than they are stored, for a photograph's usual kind of them.
// On the thread that reads.
#pragma once

#include "reader/messages.h"
#include "reader/vips_image.h"

namespace lumato::reader {

// Puts the means of squares of so many pixels a side (BoxReducer) in the place of `image`, which libvips
// opened from the descriptor. False: the image is as it was, for there is nothing to reduce, or it is
// transparent, or of more than 8 bits, or broken, which libvips then finds, too.
[[nodiscard]] bool ReduceHeif(Image& image, int descriptor, const Job& job, int divisor);

}  // namespace lumato::reader
