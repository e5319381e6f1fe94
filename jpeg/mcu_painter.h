// The decoder's way from samples to pixels: converts the colours of one MCU and places it in the picture.
//
// No state.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg/mcu_grid.h"

namespace lumato::jpeg {

struct DecodedPicture;

// The decoded samples of one MCU, row-major.
struct McuSamples {
    static constexpr int kLumaStride = 16;  // whatever the MCU's width

    std::array<std::uint8_t, 64> cb;
    std::array<std::uint8_t, 64> cr;
    std::array<std::uint8_t, 16 * kLumaStride> luma;
};

// Writes the pixels of the MCU in column `mcuX` and row `mcuY`; what lies beyond the picture's stride or
// height is left out. A chrominance sample counts for its whole group of pixels.
void PaintMcu(const McuSamples& samples, const McuGrid& grid, int mcuX, int mcuY, DecodedPicture& picture);

}  // namespace lumato::jpeg
