#include <algorithm>

#include "picture/picture_placement.h"

namespace lumato::picture {

AxesPainter StraightPainter(const Surface& surface, int heldWidth, int heldHeight,
                            const PicturePlacement& placement) {
    const bool turned = !placement.IsStraight();
    AxisPlacement across{.center = turned ? placement.centerRow : placement.centerColumn,
                         .scale = turned ? placement.rowPerU : placement.columnPerU,
                         .held = heldWidth,
                         .length = turned ? surface.height : surface.width,
                         .before = placement.left,
                         .behind = heldWidth - placement.left - placement.width};
    AxisPlacement down{.center = turned ? placement.centerColumn : placement.centerRow,
                       .scale = turned ? placement.columnPerV : placement.rowPerV,
                       .held = heldHeight,
                       .length = turned ? surface.width : surface.height,
                       .before = placement.top,
                       .behind = heldHeight - placement.top - placement.height};
    return AxesPainter(surface, PlaceAxis(across), PlaceAxis(down), turned, placement.colours);
}

void PaintLines(AxesPainter& painter, const PixelView& picture, int begin, int end) {
    for (int line = begin; line < end; ++line)
        painter.PaintLine(line, picture.At(0, painter.Down().first[static_cast<std::size_t>(line)]),
                          picture.Stride());
}

void DrawStraight(const Surface& surface, const PixelView& picture, const PicturePlacement& placement,
                  const IsWanted& isWanted) {
    constexpr int kLinesAtOnce = 32;
    AxesPainter painter = StraightPainter(surface, picture.width, picture.height, placement);
    for (int line = 0; line < painter.Lines() && (!isWanted || isWanted()); line += kLinesAtOnce)
        PaintLines(painter, picture, line, std::min(line + kLinesAtOnce, painter.Lines()));
}

}  // namespace lumato::picture
