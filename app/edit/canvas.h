// The 580 x 400 edit canvas inside a widget: as large as fits, in its middle.
//
// A value; main thread only.
#pragma once

#include <QRectF>
#include <QSizeF>
#include <algorithm>

#include "picture/draw_my_image.h"
#include "picture/edit_controls.h"

namespace lumato::app {

struct Canvas {
    explicit Canvas(QSizeF widget)
        : scale(std::min(widget.width() / static_cast<double>(picture::kCanvasWidth),
                         widget.height() / static_cast<double>(picture::kCanvasHeight))),
          area((widget.width() - scale * static_cast<double>(picture::kCanvasWidth)) / 2,
               (widget.height() - scale * static_cast<double>(picture::kCanvasHeight)) / 2,
               scale * static_cast<double>(picture::kCanvasWidth),
               scale * static_cast<double>(picture::kCanvasHeight)) {}

    [[nodiscard]] picture::CanvasPoint FromWidget(QPointF point) const {
        return {static_cast<float>((point.x() - area.x()) / scale),
                static_cast<float>((point.y() - area.y()) / scale)};
    }
    [[nodiscard]] QRectF ToWidget(float x, float y, float width, float height) const {
        return {area.x() + static_cast<double>(x) * scale, area.y() + static_cast<double>(y) * scale,
                static_cast<double>(width) * scale, static_cast<double>(height) * scale};
    }

    double scale;  // widget pixels per canvas pixel
    QRectF area;   // the canvas in the widget
};

}  // namespace lumato::app
