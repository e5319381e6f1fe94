// A drawing surface: 4 bytes per pixel, colours premultiplied with alpha.
//
// A plain view of the caller's memory; whoever owns it decides on threads.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lumato::picture {

enum class RowOrder { TopFirst, BottomFirst };

enum class PixelOrder {
    AlphaFirst,  // alpha, red, green, blue
    BlueFirst,   // blue, green, red, alpha: a little-endian 0xAARRGGBB word, as windows take it
};

struct Surface {
    std::uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    std::size_t bytesPerRow = 0;
    RowOrder rows = RowOrder::TopFirst;
    PixelOrder order = PixelOrder::AlphaFirst;
    double pixelsPerCanvasPixel = 1;  // above 1 on a dense screen

    [[nodiscard]] std::uint8_t* At(int column, int row) const {
        return pixels + static_cast<std::size_t>(row) * bytesPerRow + static_cast<std::size_t>(column) * 4;
    }
};

// Lays a colour that covers `coverage` (0..1) of the pixel over what is there.
inline void BlendPixel(std::uint8_t* pixel, PixelOrder order, const std::uint8_t rgb[3], float coverage) {
    std::uint8_t laid[4] = {255, rgb[0], rgb[1], rgb[2]};
    if (order == PixelOrder::BlueFirst) {
        laid[0] = rgb[2];
        laid[1] = rgb[1];
        laid[2] = rgb[0];
        laid[3] = 255;
    }
    if (coverage >= 1) {
        std::memcpy(pixel, laid, sizeof laid);
        return;
    }
    for (int i = 0; i < 4; ++i) {
        const float mixed =
            static_cast<float>(laid[i]) * coverage + static_cast<float>(pixel[i]) * (1 - coverage);
        pixel[i] = static_cast<std::uint8_t>(std::lround(mixed));
    }
}

// Lays whole pixels, given as one ignored byte, red, green, blue each, side by side.
inline void LayPixels(std::uint8_t* pixels, PixelOrder order, const std::uint8_t* colours,
                      std::size_t count) {
    const bool blueFirst = order == PixelOrder::BlueFirst;
    for (std::size_t i = 0; i < count * 4; i += 4) {
        const std::uint8_t laid[4] = {255, colours[i + 1], colours[i + 2], colours[i + 3]};
        const std::uint8_t reversed[4] = {laid[3], laid[2], laid[1], laid[0]};
        std::memcpy(pixels + i, blueFirst ? reversed : laid, sizeof laid);
    }
}

}  // namespace lumato::picture
