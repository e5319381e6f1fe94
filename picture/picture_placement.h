// Where the held pixels of a posed picture lie on a surface: a linear map, and the two ways to draw it.
//
// No state; callable from any thread.
#pragma once

#include "picture/axis_taps.h"
#include "picture/picture_levels.h"
#include "picture/pixel_view.h"
#include "picture/surface.h"

namespace lumato::picture {

// A held point (u, v), counted from the picture's centre to the right and downwards, lies at column
// centerColumn + columnPerU * u + columnPerV * v of the surface's memory, and likewise for the row.
struct PicturePlacement {
    double centerColumn = 0, centerRow = 0;
    double columnPerU = 0, columnPerV = 0;
    double rowPerU = 0, rowPerV = 0;
};

// For pictures that lie straight (rowPerU and columnPerV are 0) or on their side (the other two are).
void DrawStraight(const Surface& surface, const PixelView& picture, const PicturePlacement& placement);

// For any other angle.
void DrawTurned(const Surface& surface, PictureLevels& picture, const PicturePlacement& placement);

// Puts the pixels that the two axes take from `picture` onto the surface, with their coverage; `turned`
// exchanges the surface's columns and rows.
void DrawAxes(const Surface& surface, const PixelView& picture, const AxisTaps& across, const AxisTaps& down,
              bool turned);

}  // namespace lumato::picture
