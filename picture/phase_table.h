// The resampling filter along one direction for positions anywhere between two pixels.
//
// Constant once it is made; callable from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumato::picture {

// Positions count pixels from a picture's first one, in 1 / (1 << kPositionBits).
inline constexpr int kPositionBits = 32;
// Positions between pixels are told apart in steps of 1/128 pixel.
inline constexpr int kPhaseBits = 7;
inline constexpr int kPhases = 1 << kPhaseBits;

class PhaseTable {
  public:
    // A filter for `length` pixels of which so many make one that is shown. It has a multiple of `group`
    // (even) weights, each of which is there `copies` times: pairs of weights, one after the other.
    PhaseTable(double pixelsPerShown, int length, int group, int copies);

    [[nodiscard]] int Width() const { return m_width; }

    struct Place {
        int first = 0;  // the pixel that the first weight is for
        const std::int16_t* weights = nullptr;
    };
    [[nodiscard]] Place At(std::int64_t position) const {
        constexpr std::int64_t kHalfPixel = std::int64_t{1} << (kPositionBits - 1);
        constexpr int kPhaseShift = kPositionBits - kPhaseBits;
        const std::int64_t rounded = position - kHalfPixel + (std::int64_t{1} << (kPhaseShift - 1));
        const auto phase = static_cast<std::size_t>(rounded >> kPhaseShift) & (kPhases - 1);
        return {static_cast<int>(rounded >> kPositionBits) - m_before, m_weights.data() + phase * m_stride};
    }

  private:
    int m_before = 0;  // pixels before the one at or left of the position
    int m_width = 0;
    std::size_t m_stride = 0;  // from phase to phase
    std::vector<std::int16_t> m_weights;
};

}  // namespace lumato::picture
