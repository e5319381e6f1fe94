// What a widget shows of the 580 x 400 edit canvas and around it: a part of it as large as fits, in the
// middle.
//
// A value; main thread only.
#pragma once

#include <QRectF>
#include <QSizeF>
#include <algorithm>

#include "picture/edit_controls.h"

namespace lumato::app {

[[nodiscard]] inline QRectF OnCanvas(const store::Rect& rect) {
    return QRectF(rect.x, rect.y, rect.width, rect.height).normalized();
}

struct Canvas {
    // `visible` in canvas pixels; the widget's longer side shows more.
    Canvas(QSizeF widget, const QRectF& visible)
        : scale(std::min(widget.width() / visible.width(), widget.height() / visible.height())),
          shown(visible.center() - QPointF(widget.width(), widget.height()) / (2 * scale), widget / scale) {}

    [[nodiscard]] picture::CanvasPoint FromWidget(QPointF point) const {
        const QPointF at = shown.topLeft() + point / scale;
        return {static_cast<float>(at.x()), static_cast<float>(at.y())};
    }
    [[nodiscard]] QRectF ToWidget(const QRectF& area) const {
        return {(area.topLeft() - shown.topLeft()) * scale, area.size() * scale};
    }

    double scale;  // widget pixels per canvas pixel
    QRectF shown;  // all that the widget shows, in canvas pixels
};

}  // namespace lumato::app
