#include "picture/coverage.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "picture/draw_my_image.h"
#include "picture/edit_controls.h"

namespace lumato::picture {
namespace {

struct Corner {
    double x = 0, y = 0;
};
using Outline = std::vector<Corner>;

// The picture's outline on the canvas.
Outline OutlineOf(const MyImage& image) {
    const double angle = std::fmod(static_cast<double>(image.rotation), 360.0) * std::numbers::pi / 180;
    const double cosine = std::cos(angle), sine = std::sin(angle);
    const double halfWidth = image.scaleX * static_cast<double>(image.image->width) / 2;
    const double halfHeight = image.scaleY * static_cast<double>(image.image->height) / 2;
    Outline outline;
    for (const Corner at : {Corner{-1, -1}, Corner{1, -1}, Corner{1, 1}, Corner{-1, 1}}) {
        const double u = at.x * halfWidth, v = at.y * halfHeight;
        outline.push_back(
            {static_cast<double>(kCanvasWidth) / 2 + image.translateX + cosine * u - sine * v,
             static_cast<double>(kCanvasHeight) / 2 + image.translateY + sine * u + cosine * v});
    }
    return outline;
}

// What of `polygon` lies where `depth`, a linear function, is not negative.
template <class Depth>
Outline Cut(const Outline& polygon, Depth depth) {
    Outline kept;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Corner& from = polygon[i];
        const Corner& to = polygon[(i + 1) % polygon.size()];
        const double before = depth(from), after = depth(to);
        if (before >= 0)
            kept.push_back(from);
        if ((before >= 0) != (after >= 0)) {
            const double part = before / (before - after);
            kept.push_back({from.x + part * (to.x - from.x), from.y + part * (to.y - from.y)});
        }
    }
    return kept;
}

double AreaOf(const Outline& polygon) {
    double twice = 0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Corner& from = polygon[i];
        const Corner& to = polygon[(i + 1) % polygon.size()];
        twice += from.x * to.y - to.x * from.y;
    }
    return std::abs(twice) / 2;
}

}  // namespace

double CoverageOf(const MyImage& image, const store::Rect& rect) {
    const store::Rect area = WithTopLeftCorner(rect);
    const double left = area.x, right = left + std::abs(static_cast<double>(area.width));
    const double top = area.y, bottom = top + std::abs(static_cast<double>(area.height));
    if (right <= left || bottom <= top)
        return 0;
    Outline seen = OutlineOf(image);
    seen = Cut(seen, [=](const Corner& at) { return at.x - left; });
    seen = Cut(seen, [=](const Corner& at) { return right - at.x; });
    seen = Cut(seen, [=](const Corner& at) { return at.y - top; });
    seen = Cut(seen, [=](const Corner& at) { return bottom - at.y; });
    return std::min(AreaOf(seen) / ((right - left) * (bottom - top)), 1.0);
}

bool ShowsNothing(const MyImage& image, const store::Rect& rect) {
    constexpr double kNothing = 1e-6;  // less than half a pixel of any LCD that a window is for
    return CoverageOf(image, rect) < kNothing;
}

}  // namespace lumato::picture
