// How a picture is divided into MCUs (minimum coded units), which both directions of the codec must agree on.
//
// No state; callable from any thread.
#pragma once

#include <cstddef>

#include "jpeg/stream_format.h"

namespace lumato::jpeg {

inline constexpr int kLargestSide = 65535;  // the header's fields have 16 bits

struct McuGrid {
    bool wide = false;   // an MCU is 16 pixels wide, not 8; chrominance has half the columns
    bool tall = false;   // the same downwards
    int lumaBlocks = 0;  // luminance blocks per MCU, left to right, then top to bottom
    int mcuWidth = 0;
    int mcuHeight = 0;
    int mcusAcross = 0;
    int mcusDown = 0;

    [[nodiscard]] constexpr std::size_t McuCount() const {
        return static_cast<std::size_t>(mcusAcross) * static_cast<std::size_t>(mcusDown);
    }
};

// The grid of a picture of 1 to kLargestSide pixels in each direction; of `mode` only the sampling code
// counts.
[[nodiscard]] constexpr McuGrid GridOf(int width, int height, int mode) {
    McuGrid grid;
    grid.wide = (mode & kWideMcu) != 0;
    grid.tall = (mode & kTallMcu) != 0;
    grid.lumaBlocks = nY[mode & (kWideMcu | kTallMcu)];
    grid.mcuWidth = grid.wide ? 16 : 8;
    grid.mcuHeight = grid.tall ? 16 : 8;
    grid.mcusAcross = (width + grid.mcuWidth - 1) / grid.mcuWidth;
    grid.mcusDown = (height + grid.mcuHeight - 1) / grid.mcuHeight;
    return grid;
}

}  // namespace lumato::jpeg
