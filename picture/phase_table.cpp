#include "picture/phase_table.h"

#include <algorithm>
#include <cmath>

#include "picture/axis_taps.h"

namespace lumato::picture {
namespace {

void FillWeights(double phase, double filterScale, int before, std::vector<double>& weights) {
    double sum = 0;
    for (std::size_t k = 0; k < weights.size(); ++k)
        sum += weights[k] = CubicKernel((static_cast<double>(k) - before - phase) / filterScale);
    for (double& weight : weights)
        weight /= sum;
}

}  // namespace

PhaseTable::PhaseTable(double pixelsPerShown, int length, int group, int copies) {
    // No wider than the picture, of which a wider filter would make no more than its average, too.
    const double filterScale = std::clamp(pixelsPerShown, 1.0, std::max(1.0, static_cast<double>(length)));
    const int reach = static_cast<int>(std::ceil(2 * filterScale));
    m_before = reach - 1;
    m_width = (2 * reach + group - 1) / group * group;
    m_stride = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(copies);
    m_weights.resize(kPhases * m_stride);
    std::vector<double> weights(static_cast<std::size_t>(2 * reach));
    std::vector<std::int16_t> fixed(static_cast<std::size_t>(m_width), 0);
    for (int phase = 0; phase < kPhases; ++phase) {
        FillWeights(static_cast<double>(phase) / kPhases, filterScale, m_before, weights);
        ToFixedPoint(weights, fixed.data());
        auto out =
            m_weights.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(phase) * m_stride);
        for (std::size_t pair = 0; pair < fixed.size(); pair += 2)
            for (int copy = 0; copy < copies; ++copy) {
                *out++ = fixed[pair];
                *out++ = fixed[pair + 1];
            }
    }
}

}  // namespace lumato::picture
