#include "import/held_size.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "import/messages.h"

namespace lumato::picture {
namespace {

int LeastSide(int side, double scale) {
    const double least = std::ceil(2.0 * scale * side);
    // Written so that a scale that is no number asks for everything.
    if (!(least < side))
        return side;
    return std::max(1, static_cast<int>(least));
}

}  // namespace

Result<Size> CheckedSize(std::int64_t width, std::int64_t height, std::int64_t maxPixels) {
    if (width <= 0 || height <= 0)
        return Fail(ErrorKind::Damaged,
                    Phrase(kBroken, Phrase("SIZE_IS", "its size is {0} x {1} pixels", width, height)));
    if (width > kMaxSide || height > kMaxSide || width * height > maxPixels)
        return Fail(ErrorKind::TooLarge,
                    Phrase("TOO_MANY_PIXELS", "too large: {0} x {1} pixels, the limit here is {2} megapixels",
                           width, height, maxPixels / 1'000'000));
    return Size{static_cast<int>(width), static_cast<int>(height)};
}

Size LeastHeld(Size own, const ScaleNeeded& scaleNeeded) {
    const double scale = scaleNeeded ? scaleNeeded(own.width, own.height) : 1.0;
    return {LeastSide(own.width, scale), LeastSide(own.height, scale)};
}

int EighthsFor(Size own, Size least) {
    const auto scaled = [own](int eighths) {
        const auto side = [eighths](int full) {
            return static_cast<int>((std::int64_t{full} * eighths + 7) / 8);
        };
        return Size{side(own.width), side(own.height)};
    };
    int eighths = 1;
    while (eighths < 8 && (scaled(eighths).width < least.width || scaled(eighths).height < least.height))
        eighths *= 2;
    while (eighths > 1 && scaled(eighths).Pixels() > kMaxHeldPixels)
        --eighths;
    return eighths;
}

int HeldDivisor(Size decoded, Size least) {
    int divisor = std::max(1, std::min(decoded.width / least.width, decoded.height / least.height));
    while (DividedUp(decoded, divisor).Pixels() > kMaxHeldPixels)
        ++divisor;
    return divisor;
}

}  // namespace lumato::picture
