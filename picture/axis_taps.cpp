#include "picture/axis_taps.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace lumato::picture {
namespace {

// Below this size, in surface pixels, a picture is no more than its average colour.
constexpr double kSpeck = 0.5;

struct Interval {
    double low = 0, high = 0;
    [[nodiscard]] double Middle() const { return (low + high) / 2; }
};

Interval Overlap(const AxisPlacement& placement, int pixel) {
    const double half = placement.Half();
    return {std::max(placement.center - half, static_cast<double>(pixel)),
            std::min(placement.center + half, pixel + 1.0)};
}

double FilterScale(const AxisPlacement& placement) {
    return std::max(1.0, 1.0 / std::abs(placement.scale));
}

double LanczosKernel(double x) {
    constexpr double kLobes = 3;
    if (std::abs(x) >= kLobes)
        return 0;
    const double angle = x * std::numbers::pi;
    return angle == 0 ? 1 : kLobes * std::sin(angle) * std::sin(angle / kLobes) / (angle * angle);
}

double Support(Filter filter) {
    return filter == Filter::Cubic ? 2 : 3;
}

// The filter around `position` (in held pixels) on the held pixels from `first`; what reaches past an edge
// of the picture counts for the pixel at that edge.
void FillWeights(const AxisPlacement& placement, double position, int first, std::span<double> weights) {
    const double filterScale = FilterScale(placement);
    const double reach = Support(placement.filter) * filterScale;
    std::fill(weights.begin(), weights.end(), 0.0);
    const int from = static_cast<int>(std::ceil(position - reach - 0.5));
    const int to = static_cast<int>(std::floor(position + reach - 0.5));
    for (int j = from; j <= to; ++j) {
        const int inside = std::clamp(j, 0, placement.held - 1) - first;
        const auto index =
            static_cast<std::size_t>(std::clamp(inside, 0, static_cast<int>(weights.size()) - 1));
        const double x = (j + 0.5 - position) / filterScale;
        weights[index] += placement.filter == Filter::Cubic ? CubicKernel(x) : LanczosKernel(x);
    }
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    for (double& weight : weights)
        weight /= sum;
}

void AppendPixel(const AxisPlacement& placement, int pixel, bool speck, AxisTaps& taps,
                 std::vector<double>& weights) {
    const Interval overlap = Overlap(placement, pixel);
    // A pixel that lies partly outside shows the part that it covers.
    const double middle = placement.before + (placement.held - placement.before - placement.behind) / 2;
    const double position = (overlap.Middle() - placement.center) / placement.scale + middle;
    int first = 0;
    if (speck) {
        std::fill(weights.begin(), weights.end(), 1.0 / placement.held);
    } else {
        first = std::clamp(
            static_cast<int>(std::ceil(position - Support(placement.filter) * FilterScale(placement) - 0.5)),
            0, placement.held - taps.width);
        FillWeights(placement, position, first, weights);
    }
    taps.first.push_back(first);
    taps.coverage.push_back(static_cast<float>(std::clamp(overlap.high - overlap.low, 0.0, 1.0)));
    const std::size_t at = taps.weights.size();
    taps.weights.resize(at + static_cast<std::size_t>(taps.paddedWidth), 0);
    ToFixedPoint(weights, taps.weights.data() + at);
}

}  // namespace

double CubicKernel(double x) {
    x = std::abs(x);
    if (x < 1)
        return (1.5 * x - 2.5) * x * x + 1;
    if (x < 2)
        return ((-0.5 * x + 2.5) * x - 4) * x + 2;
    return 0;
}

void ToFixedPoint(std::span<const double> weights, std::int16_t* fixed) {
    // The running sum is rounded rather than each weight, so that errors never add up.
    double sum = 0;
    long before = 0;
    for (const double weight : weights) {
        sum += weight;
        const long now = std::lround(sum * (1 << kWeightBits));
        *fixed++ = static_cast<std::int16_t>(now - before);
        before = now;
    }
}

std::span<const std::int16_t> AxisTaps::Weights(int index) const {
    return std::span(weights).subspan(static_cast<std::size_t>(index) * static_cast<std::size_t>(paddedWidth),
                                      static_cast<std::size_t>(width));
}

int AxisTaps::FirstHeld() const {
    return first.empty() ? 0 : std::min(first.front(), first.back());
}

int AxisTaps::EndHeld() const {
    return first.empty() ? 0 : std::max(first.front(), first.back()) + width;
}

AxisTaps PlaceAxis(const AxisPlacement& placement) {
    AxisTaps taps;
    const double half = placement.Half();
    const double low = std::max(0.0, std::floor(placement.center - half));
    const double high = std::min(static_cast<double>(placement.length), std::ceil(placement.center + half));
    if (!(half > 0) || !(high > low))
        return taps;

    taps.begin = static_cast<int>(low);
    taps.count = static_cast<int>(high - low);
    const bool speck = 2 * half < kSpeck;
    const double width = 2 * Support(placement.filter) * FilterScale(placement) + 1;
    taps.width = speck || width > placement.held ? placement.held : static_cast<int>(width);
    taps.paddedWidth = (taps.width + kTapGroup - 1) / kTapGroup * kTapGroup;
    std::vector<double> weights(static_cast<std::size_t>(taps.width));
    for (int i = 0; i < taps.count; ++i)
        AppendPixel(placement, taps.begin + i, speck, taps, weights);
    return taps;
}

}  // namespace lumato::picture
