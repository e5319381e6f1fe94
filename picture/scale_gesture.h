// Scaling the picture under the rectangle around a point that stays where it is: a corner that is dragged,
// the wheel.
//
// Used by the thread that owns the edit picture. Requires, in each function: there is one.
#pragma once

#include "picture/edit_controls.h"

namespace lumato::picture {

// Where the picture was when the gesture began: its steps do not add up their roundings.
struct ScaleGesture {
    float scale = 1;
    int x = 0, y = 0;      // of the offset controls
    bool covered = false;  // the picture covered all of the rectangle
};

[[nodiscard]] ScaleGesture BeginScaling();

// Sets the scale control to `factor` times the scale at the beginning, within its limits, and the offsets so
// that what lay at `fixed` lies there still; a rectangle that was covered stays so where the scale allows it.
void ScaleAround(const ScaleGesture& from, double factor, CanvasPoint fixed);

}  // namespace lumato::picture
