#include "jpeg/mcu_samples.h"

#include <algorithm>
#include <cstring>

#include "jpeg/bitmap_header.h"

namespace lumato::jpeg {
namespace {

// Colour conversion of ITU-T T.871 in 16 fractional bits, level-shifted. The sums are never negative. The
// rounding terms of Cb and Cr stay just below one half, so that 255 is not exceeded.
constexpr int kHalf = 32768;
constexpr int kChromaOffset = 8421375;

inline std::int32_t LuminanceOf(const std::uint8_t* bgr) {
    return ((19595 * bgr[2] + 38470 * bgr[1] + 7471 * bgr[0] + kHalf) >> 16) - 128;
}

inline std::int32_t CbOf(const std::uint8_t* bgr) {
    return ((-11059 * bgr[2] - 21709 * bgr[1] + 32768 * bgr[0] + kChromaOffset) >> 16) - 128;
}

inline std::int32_t CrOf(const std::uint8_t* bgr) {
    return ((32768 * bgr[2] - 27439 * bgr[1] - 5329 * bgr[0] + kChromaOffset) >> 16) - 128;
}

}  // namespace

McuSampler::McuSampler(const std::uint8_t* source, int width, int height, const McuGrid& grid)
    : m_source(source), m_sourceStride(BitmapStride(width)), m_width(width), m_height(height), m_grid(grid) {}

void McuSampler::Sample(int mcuX, int mcuY, McuBlocks& blocks) {
    BuildTile(mcuX, mcuY);
    ConvertLuminance(blocks);
    ConvertChrominance(blocks);
}

void McuSampler::BuildTile(int mcuX, int mcuY) {
    const int left = mcuX * m_grid.mcuWidth;
    const int top = mcuY * m_grid.mcuHeight;
    const int columns = std::min(m_grid.mcuWidth, m_width - left);
    const int rows = std::min(m_grid.mcuHeight, m_height - top);
    for (int row = 0; row < rows; ++row) {
        const auto sourceRow = static_cast<std::size_t>(m_height - 1 - top - row);
        std::uint8_t* tileRow = &m_tile[static_cast<std::size_t>(row) * kTileStride];
        std::memcpy(tileRow, m_source + sourceRow * m_sourceStride + static_cast<std::size_t>(left) * 3,
                    static_cast<std::size_t>(columns) * 3);
        for (int column = columns; column < m_grid.mcuWidth; ++column)
            std::memcpy(tileRow + column * 3, tileRow + (columns - 1) * 3, 3);
    }
    const std::uint8_t* lastRow = &m_tile[static_cast<std::size_t>(rows - 1) * kTileStride];
    for (int row = rows; row < m_grid.mcuHeight; ++row)
        std::memcpy(&m_tile[static_cast<std::size_t>(row) * kTileStride], lastRow, kTileStride);
}

void McuSampler::ConvertLuminance(McuBlocks& blocks) const {
    const std::size_t blocksAcross = m_grid.wide ? 2 : 1;
    for (std::size_t block = 0; block < static_cast<std::size_t>(m_grid.lumaBlocks); ++block) {
        const std::size_t left = block % blocksAcross * 8;
        const std::size_t top = block / blocksAcross * 8;
        std::int32_t* sample = blocks[2 + block].data();
        for (std::size_t row = 0; row < 8; ++row) {
            const std::uint8_t* pixels = &m_tile[(top + row) * kTileStride + left * 3];
            for (std::size_t column = 0; column < 8; ++column)
                *sample++ = LuminanceOf(pixels + column * 3);
        }
    }
}

// A chrominance sample is that of the top-left pixel of its group: the frame's format wants no averaging.
void McuSampler::ConvertChrominance(McuBlocks& blocks) const {
    const std::size_t pixelStep = m_grid.wide ? 2 * 3 : 3;
    const std::size_t rowStep = m_grid.tall ? 2 * kTileStride : kTileStride;
    for (std::size_t row = 0; row < 8; ++row) {
        const std::uint8_t* pixels = &m_tile[row * rowStep];
        for (std::size_t column = 0; column < 8; ++column) {
            blocks[0][row * 8 + column] = CbOf(pixels + column * pixelStep);
            blocks[1][row * 8 + column] = CrOf(pixels + column * pixelStep);
        }
    }
}

}  // namespace lumato::jpeg
