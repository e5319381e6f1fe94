#include "picture/picture_placement.h"

namespace lumato::picture {

AxesPainter StraightPainter(const Surface& surface, int heldWidth, int heldHeight,
                            const PicturePlacement& placement) {
    const bool turned = !placement.IsStraight();
    const AxisPlacement columns{placement.centerColumn, turned ? placement.columnPerV : placement.columnPerU,
                                turned ? heldHeight : heldWidth, surface.width};
    const AxisPlacement rows{placement.centerRow, turned ? placement.rowPerU : placement.rowPerV,
                             turned ? heldWidth : heldHeight, surface.height};
    return AxesPainter(surface, PlaceAxis(turned ? rows : columns), PlaceAxis(turned ? columns : rows),
                       turned);
}

void PaintLines(AxesPainter& painter, const PixelView& picture, int begin, int end) {
    for (int line = begin; line < end; ++line)
        painter.PaintLine(line, picture.At(0, painter.Down().first[static_cast<std::size_t>(line)]),
                          picture.Stride());
}

void DrawStraight(const Surface& surface, const PixelView& picture, const PicturePlacement& placement) {
    AxesPainter painter = StraightPainter(surface, picture.width, picture.height, placement);
    PaintLines(painter, picture, 0, painter.Lines());
}

}  // namespace lumato::picture
