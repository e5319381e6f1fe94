// Where the held pixels of a posed picture lie on a surface: a linear map, and the two ways to draw it.
//
// No state; callable from any thread.
#pragma once

#include <optional>

#include "import/colour.h"
#include "picture/axes_painter.h"
#include "picture/my_image.h"
#include "picture/picture_levels.h"
#include "picture/pixel_view.h"
#include "picture/row_bands.h"
#include "picture/surface.h"

namespace lumato::picture {

// A held point (u, v), counted from the picture's centre to the right and downwards as it is held, lies at
// column centerColumn + columnPerU * u + columnPerV * v of the surface's memory, and likewise for the row.
struct PicturePlacement {
    double centerColumn = 0, centerRow = 0;
    double columnPerU = 0, columnPerV = 0;
    double rowPerU = 0, rowPerV = 0;
    // Of the held pixels, the picture itself.
    double left = 0, top = 0, width = 0, height = 0;
    const ColourConverter* colours = nullptr;  // null: they are sRGB

    [[nodiscard]] bool IsStraight() const { return rowPerU == 0 && columnPerV == 0; }
    [[nodiscard]] bool IsOnItsSide() const { return columnPerU == 0 && rowPerV == 0; }
};

// Where a picture of that size, with the pose of `image`, lies on the surface, which shows what DrawMyImage()
// says; nothing for poses without a size.
[[nodiscard]] std::optional<PicturePlacement> PlacementOf(const Surface& surface, float x, float y, float w,
                                                          float h, const MyImage& image, bool inView);

// For pictures that lie straight or on their side.
[[nodiscard]] AxesPainter StraightPainter(const Surface& surface, int heldWidth, int heldHeight,
                                          const PicturePlacement& placement);
void DrawStraight(const Surface& surface, const PixelView& picture, const PicturePlacement& placement,
                  const IsWanted& isWanted);

// For any other angle.
void DrawTurned(const Surface& surface, PictureLevels& picture, const PicturePlacement& placement,
                const IsWanted& isWanted);

// Some of the lines, out of a picture that is held.
void PaintLines(AxesPainter& painter, const PixelView& picture, int begin, int end);

}  // namespace lumato::picture
