// What each pixel along one direction of a surface takes from a picture that lies along it: the resampling
// filter, and how much of the pixel the picture covers.
//
// No state; callable from any thread.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace lumato::picture {

inline constexpr int kWeightBits = 14;  // a weight of 1.0 is 1 << 14
inline constexpr int kTapGroup = 4;     // weights come in whole groups, for vectors

// Both filters are widened by the reduction, and interpolate: nothing changes at scale 1.
enum class Filter {
    // Keys' cubic (R. Keys, "Cubic Convolution Interpolation for Digital Image Processing", 1981, a = -1/2),
    // for what is shown: it rings little.
    Cubic,
    // The sinc with three lobes of a window of itself, for what is reduced once more: less of what is too
    // fine is left.
    Lanczos,
};

// A picture of `held` pixels along one direction of a surface of `length` pixels.
struct AxisPlacement {
    double center = 0;  // of the picture, in surface pixels from the surface's start
    double scale = 0;   // surface pixels per held pixel; negative where the picture runs backwards
    int held = 0;
    int length = 0;
    Filter filter = Filter::Cubic;
    // So much of the first and of the last held pixel lies outside the picture (Overhang).
    double before = 0, behind = 0;

    [[nodiscard]] double Half() const { return std::abs(scale) * (held - before - behind) / 2; }
};

struct AxisTaps {
    int begin = 0;                      // the first surface pixel that the picture touches
    int count = 0;                      // how many it touches
    int width = 0;                      // held pixels per surface pixel
    std::vector<int> first;             // per surface pixel: the first held pixel that it takes
    std::vector<float> coverage;        // per surface pixel: the share that the picture covers, 0..1
    std::vector<std::int16_t> weights;  // per surface pixel: paddedWidth weights, in 1 / (1 << kWeightBits)
    int paddedWidth = 0;                // width, made whole groups with weights of 0

    [[nodiscard]] std::span<const std::int16_t> Weights(int index) const;
    // The range of held pixels that is read at all.
    [[nodiscard]] int FirstHeld() const;
    [[nodiscard]] int EndHeld() const;
};

// Nothing is touched (count 0) when the picture lies outside or has no size. Past its edges the picture goes
// on with its outermost pixels, so that it does not darken there; coverage is kept apart.
[[nodiscard]] AxisTaps PlaceAxis(const AxisPlacement& placement);

// Keys' cubic, support -2..2.
[[nodiscard]] double CubicKernel(double x);

// Rounds weights to fixed point so that their sum is exactly 1. Requires: they sum up to about 1, and
// `fixed` has room for all.
void ToFixedPoint(std::span<const double> weights, std::int16_t* fixed);

}  // namespace lumato::picture
