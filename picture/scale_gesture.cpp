#include "picture/scale_gesture.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "picture/coverage.h"
#include "picture/draw_my_image.h"
#include "picture/picture_state.h"

namespace lumato::picture {
namespace {

constexpr double kAllOfIt = 1 - 1e-6;

struct Offset {
    double x = 0, y = 0;  // of the picture's centre from the canvas's, downwards
};

double Within(double low, double high, double half) {
    if (high - low > 2 * half)
        return 0;
    return std::max(0.0, high - half) + std::min(0.0, low + half);
}

// The nearest place of the picture's centre that covers the rectangle, as far as its sides are long enough.
Offset Covering(Offset center, const MyImage& image, const store::Rect& rect) {
    const double angle = (static_cast<double>(image.rotation) - 180) * std::numbers::pi / 180;
    const double cosine = std::cos(angle), sine = std::sin(angle);
    const store::Rect area = WithTopLeftCorner(rect);
    const double width = std::abs(area.width), height = std::abs(area.height);
    // The rectangle's middle and its extent along the picture's sides.
    const double x = area.x + width / 2 - static_cast<double>(kCanvasWidth) / 2 - center.x;
    const double y = area.y + height / 2 - static_cast<double>(kCanvasHeight) / 2 - center.y;
    const double u = cosine * x + sine * y, v = cosine * y - sine * x;
    const double reachU = (std::abs(cosine) * width + std::abs(sine) * height) / 2;
    const double reachV = (std::abs(sine) * width + std::abs(cosine) * height) / 2;
    const double scale = std::abs(static_cast<double>(image.scaleY)) / 2;
    const double moveU = Within(u - reachU, u + reachU, scale * image.image->width);
    const double moveV = Within(v - reachV, v + reachV, scale * image.image->height);
    return {center.x + cosine * moveU - sine * moveV, center.y + sine * moveU + cosine * moveV};
}

// Offsets are whole pixels: of the four around the place that is wanted, the nearest, or, where all of the
// rectangle is to be covered, the nearest of those that cover the most of it.
Offset Rounded(Offset wanted, bool cover) {
    MyImage tried = *Pictures().gmyCGimage;
    Offset best;
    double mostCovered = -1, nearest = 0;
    for (const double x : {std::floor(wanted.x), std::ceil(wanted.x)})
        for (const double y : {std::floor(wanted.y), std::ceil(wanted.y)}) {
            tried.translateX = static_cast<float>(x);
            tried.translateY = static_cast<float>(y);
            const double covered = cover ? CoverageOf(tried, store::Store().gmyDrawrect) : 0;
            const double distance = std::hypot(x - wanted.x, y - wanted.y);
            if (covered > mostCovered + 1e-9 || (covered > mostCovered - 1e-9 && distance < nearest)) {
                best = {x, y};
                mostCovered = covered;
                nearest = distance;
            }
        }
    return best;
}

}  // namespace

ScaleGesture BeginScaling() {
    const PictureState& state = Pictures();
    return {state.gmyCGimage->scaleY, state.controls.translateX.Value(), state.controls.translateY.Value(),
            CoverageOf(*state.gmyCGimage, store::Store().gmyDrawrect) >= kAllOfIt};
}

void ScaleAround(const ScaleGesture& from, double factor, CanvasPoint fixed) {
    PictureState& state = Pictures();
    EditControls& controls = state.controls;
    const double percent = std::clamp(static_cast<double>(from.scale) * 100 * factor, 0.0, 1000.0);
    const auto value = static_cast<int>(std::lround(percent));
    // The control would undo what is too large and stay where the last step was.
    controls.scale.SetValue(std::min(value, std::max(LargestScaleNow(), controls.scale.Value())));
    if (value > controls.scale.Value())
        controls.scale.SetValue(value);  // refused, with the reason

    const MyImage& image = *state.gmyCGimage;
    const double ratio = static_cast<double>(image.scaleY) / from.scale;
    const double x = fixed.x - static_cast<double>(kCanvasWidth) / 2;
    const double y = fixed.y - static_cast<double>(kCanvasHeight) / 2;
    Offset center{x + (from.x - x) * ratio, y + (-from.y - y) * ratio};
    if (from.covered)
        center = Covering(center, image, store::Store().gmyDrawrect);
    center = Rounded(center, from.covered);
    controls.translateX.SetValue(static_cast<int>(center.x));
    controls.translateY.SetValue(static_cast<int>(-center.y));
}

}  // namespace lumato::picture
