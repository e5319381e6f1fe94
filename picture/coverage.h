// How much of what goes to the frame the posed picture covers; the rest is black.
//
// No state; callable from any thread that may read the pose.
#pragma once

#include "picture/my_image.h"
#include "store/store_state.h"

namespace lumato::picture {

// The part of the LCD rectangle that `image` covers, from 0 to 1, exactly. Requires: it has a picture.
[[nodiscard]] double CoverageOf(const MyImage& image, const store::Rect& rect);
// Not even a corner of it.
[[nodiscard]] bool ShowsNothing(const MyImage& image, const store::Rect& rect);

}  // namespace lumato::picture
