#include <utility>

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

void PaintAll(AxesPainter painter, const PixelView& picture) {
    for (int line = 0; line < painter.Lines(); ++line)
        painter.PaintLine(line, picture.At(0, painter.Down().first[static_cast<std::size_t>(line)]),
                          picture.Stride());
}

void DrawStraight(const Surface& surface, const PixelView& picture, const PicturePlacement& placement) {
    PaintAll(StraightPainter(surface, picture.width, picture.height, placement), picture);
}

}  // namespace lumato::picture
