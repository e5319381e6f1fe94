// The composer: draws the posed picture, for the edit view and for the frame's bitmap alike.
//
// It reads only the pixels that are shown and keeps no state; callable from any thread that may read the
// picture.
#pragma once

#include "picture/my_image.h"
#include "picture/row_bands.h"
#include "picture/surface.h"

namespace lumato::picture {

inline constexpr float kCanvasWidth = 580;
inline constexpr float kCanvasHeight = 400;

// Draws `image` with its pose. In the edit view (`inView`) the surface shows the canvas from its top left
// corner; otherwise it shows the canvas rectangle at (x, y), of w x h canvas pixels. Null, a picture without
// pixels and poses without a size draw nothing. What the picture leaves uncovered stays as it is. What is no
// longer wanted is left as far as it is.
void DrawMyImage(const Surface& surface, float x, float y, float w, float h, const MyImage* image,
                 bool inView, const IsWanted& isWanted = {});

}  // namespace lumato::picture
