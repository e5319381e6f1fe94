#include "app/edit/visible_area.h"

#include <algorithm>

#include "app/edit/canvas.h"
#include "picture/draw_my_image.h"

namespace lumato::app {
namespace {

// Of the longer side; as much of the picture's surroundings is seen.
constexpr double kMargin = 0.125;

QRectF Widened(const QRectF& rect, double by) {
    return rect.adjusted(-by, -by, by, by);
}

// How far low..high has to move to hold from..to.
double Shift(double low, double high, double from, double to) {
    return std::min(from - low, 0.0) + std::max(to - high, 0.0);
}

}  // namespace

bool VisibleArea::Follow(const store::Rect& rect) {
    const QRectF shown = OnCanvas(rect);
    if (shown.isEmpty())
        return false;
    const auto lcdWidth = static_cast<float>(shown.width());
    const auto lcdHeight = static_cast<float>(shown.height());
    const QRectF resting = OnCanvas(picture::RestingRect(lcdWidth, lcdHeight));
    const double margin = kMargin * std::max(shown.width(), shown.height());
    const QRectF canvas(0, 0, picture::kCanvasWidth, picture::kCanvasHeight);
    QRectF home = Widened(resting, margin);
    if (!canvas.contains(resting))
        home = home.united(canvas);
    QRectF area = m_area.size() == home.size() && shown != resting ? m_area : home;
    const QRectF held = Widened(shown, margin / 2);
    area.translate(Shift(area.left(), area.right(), held.left(), held.right()),
                   Shift(area.top(), area.bottom(), held.top(), held.bottom()));
    if (area == m_area)
        return false;
    m_area = area;
    return true;
}

}  // namespace lumato::app
