// The first coefficients of all blocks of a picture, not quantized, in an order in which vectors read them.
//
// One thread per object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "jpeg/mcu_grid.h"

namespace lumato::jpeg {

inline constexpr std::size_t kFirstsPadding = 32;  // MCUs that vectors may read beyond the last one

class FirstCoefficients {
  public:
    explicit FirstCoefficients(const McuGrid& grid)
        : m_mcus(grid.McuCount()),
          m_blocks(2 + static_cast<std::size_t>(grid.lumaBlocks)),
          m_firsts(m_blocks * Stride()) {}

    [[nodiscard]] std::size_t McuCount() const { return m_mcus; }
    [[nodiscard]] std::size_t BlocksPerMcu() const { return m_blocks; }

    // Those of block `block` of an MCU (Cb, Cr, then luminance), by MCU. One 0 is in front of them: before
    // the first MCU predictors are 0.
    [[nodiscard]] const std::int16_t* Of(std::size_t block) const { return &m_firsts[block * Stride() + 1]; }
    [[nodiscard]] std::int16_t* Of(std::size_t block) { return &m_firsts[block * Stride() + 1]; }

  private:
    [[nodiscard]] std::size_t Stride() const { return 1 + m_mcus + kFirstsPadding; }

    std::size_t m_mcus;
    std::size_t m_blocks;
    std::vector<std::int16_t> m_firsts;
};

}  // namespace lumato::jpeg
