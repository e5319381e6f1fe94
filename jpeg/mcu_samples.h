// The encoder's way from pixels to samples: cuts one MCU out of a picture and converts its colours.
//
// Borrows the picture. One thread per object.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "jpeg/forward_dct.h"
#include "jpeg/mcu_grid.h"

namespace lumato::jpeg {

inline constexpr int kLargestMcuBlocks = 6;

// The blocks of one MCU in coding order: Cb, Cr, then the luminance blocks.
using McuBlocks = std::array<Block, kLargestMcuBlocks>;

class McuSampler {
  public:
    // `source`: rows of blue, green, red bytes, bottom row first, each padded to a multiple of 4 bytes.
    McuSampler(const std::uint8_t* source, int width, int height, const McuGrid& grid);

    // Fills the blocks of the MCU in column `mcuX` and row `mcuY` (row 0 at the top) with level-shifted
    // samples, -128 to 127. Where the MCU reaches beyond the picture, the nearest edge pixel is repeated.
    void Sample(int mcuX, int mcuY, McuBlocks& blocks);

  private:
    static constexpr std::size_t kTileStride = 16 * 3;

    void BuildTile(int mcuX, int mcuY);
    void ConvertLuminance(McuBlocks& blocks) const;
    void ConvertChrominance(McuBlocks& blocks) const;

    const std::uint8_t* m_source;
    std::size_t m_sourceStride;
    int m_width;
    int m_height;
    McuGrid m_grid;
    std::array<std::uint8_t, 16 * kTileStride> m_tile{};
};

}  // namespace lumato::jpeg
