#include "picture/draw_my_image.h"

#include <cmath>
#include <numbers>

#include "import/orientation.h"
#include "picture/picture_placement.h"

namespace lumato::picture {
namespace {

// A turn that moves no point of the surface by more than this, in its pixels, is drawn as none: nobody sees
// it, and the straight way is exact.
constexpr double kUnseenShift = 0.01;

struct Turn {
    double cosine = 1, sine = 0;
};

// What one pixel of a picture moves by on the surface.
struct Vector {
    double columns = 0, rows = 0;
    [[nodiscard]] Vector Towards(bool backwards) const { return backwards ? Vector{-columns, -rows} : *this; }
};

// Exact at quarter turns, where the sine of a rounded multiple of pi would not be 0.
Turn TurnOf(double degrees, double reach) {
    const double quarters = std::round(degrees / 90);
    double rest = (degrees - quarters * 90) * std::numbers::pi / 180;
    if (std::abs(rest) * reach < kUnseenShift)
        rest = 0;
    const double cosine = std::cos(rest);
    const double sine = std::sin(rest);
    switch (static_cast<int>(quarters) & 3) {
        case 0:
            return {cosine, sine};
        case 1:
            return {-sine, cosine};
        case 2:
            return {-cosine, -sine};
        default:
            return {sine, -cosine};
    }
}

bool HasPixels(const BitmapInfo& picture) {
    return picture.width > 0 && picture.height > 0 && picture.heldWidth > 0 && picture.heldHeight > 0 &&
           picture.pixels.size() >=
               static_cast<std::size_t>(picture.heldWidth) * static_cast<std::size_t>(picture.heldHeight) * 4;
}

bool IsFinite(const PicturePlacement& placement) {
    return std::isfinite(placement.centerColumn) && std::isfinite(placement.centerRow) &&
           std::isfinite(placement.columnPerU) && std::isfinite(placement.columnPerV) &&
           std::isfinite(placement.rowPerU) && std::isfinite(placement.rowPerV);
}

}  // namespace

std::optional<PicturePlacement> PlacementOf(const Surface& surface, float x, float y, float w, float h,
                                            const MyImage& image, bool inView) {
    const double ratio = surface.pixelsPerCanvasPixel;
    const BitmapInfo& picture = *image.image;
    const double left = inView ? 0.0 : (static_cast<double>(kCanvasWidth) - w) * 0.5 - x;
    const double top = inView ? 0.0 : (static_cast<double>(kCanvasHeight) - h) * 0.5 - y;
    const double centerX = left + image.translateX + w * 0.5;
    const double centerY = top + image.translateY + h * 0.5;
    // The farthest that a point on the surface can be from the centre of the turn.
    const double reach = std::hypot(surface.width, surface.height) + std::hypot(centerX, centerY) * ratio;
    const Turn turn = TurnOf(std::fmod(static_cast<double>(image.rotation), 360.0), reach);

    const Overhang& over = picture.overhang;
    const double width = picture.heldWidth - over.left - over.right;
    const double height = picture.heldHeight - over.top - over.bottom;
    const Axes axes = AxesOf(picture.orientation);
    const double perX = ratio * image.scaleX * picture.width / (axes.swapped ? height : width);
    const double perY = ratio * image.scaleY * picture.height / (axes.swapped ? width : height);
    // Along the picture as it is shown, then as it is held.
    const Vector alongX{turn.cosine * perX, turn.sine * perX};
    const Vector alongY{turn.sine * perY, -turn.cosine * perY};
    const Vector alongU = (axes.swapped ? alongY : alongX).Towards(axes.backwardsX);
    const Vector alongV = (axes.swapped ? alongX : alongY).Towards(axes.backwardsY);
    PicturePlacement placed{.centerColumn = centerX * ratio,
                            .centerRow = centerY * ratio,
                            .columnPerU = alongU.columns,
                            .columnPerV = alongV.columns,
                            .rowPerU = alongU.rows,
                            .rowPerV = alongV.rows,
                            .left = over.left,
                            .top = over.top,
                            .width = width,
                            .height = height,
                            .colours = picture.colours.get()};
    if (surface.rows == RowOrder::BottomFirst) {
        placed.centerRow = surface.height - placed.centerRow;
        placed.rowPerU = -placed.rowPerU;
        placed.rowPerV = -placed.rowPerV;
    }
    if (!IsFinite(placed))
        return std::nullopt;
    return placed;
}

void DrawMyImage(const Surface& surface, float x, float y, float w, float h, const MyImage* image,
                 bool inView, const IsWanted& isWanted) {
    if (image == nullptr || image->image == nullptr || !HasPixels(*image->image))
        return;
    const auto placement = PlacementOf(surface, x, y, w, h, *image, inView);
    if (!placement)
        return;
    if (placement->IsStraight() || placement->IsOnItsSide()) {
        DrawStraight(surface, HeldPixels(*image->image), *placement, isWanted);
    } else if (image->levels != nullptr) {
        DrawTurned(surface, *image->levels, *placement, isWanted);
    } else {
        PictureLevels levels(*image->image);
        DrawTurned(surface, levels, *placement, isWanted);
    }
}

}  // namespace lumato::picture
