// A picture with its pose on the edit canvas.
//
// Plain data: one thread at a time while it changes.
#pragma once

#include <memory>

#include "import/bitmap_info.h"

namespace lumato::picture {

class PictureLevels;

// The edit picture: where and how it lies on the 580 x 400 edit canvas.
struct MyImage {
    float rotation = 180.0F;  // degrees; 180 with scaleX negative is upright
    float scaleX = -1.0F;
    float scaleY = 1.0F;
    float translateX = 0;                     // canvas pixels, to the right
    float translateY = 0;                     // canvas pixels, downwards
    const BitmapInfo* image = nullptr;        // borrowed: its owner outlives the handle
    std::shared_ptr<PictureLevels> levels{};  // of `image`; without them each drawing makes its own
};

}  // namespace lumato::picture
