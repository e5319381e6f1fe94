// Pixels that are only read: 4 bytes each (one ignored, red, green, blue), rows without padding.
//
// A plain view of somebody's memory; whoever owns it decides on threads.
#pragma once

#include <cstddef>
#include <cstdint>

#include "import/bitmap_info.h"

namespace lumato::picture {

inline constexpr int kChannels = 4;

struct PixelView {
    const std::uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;

    [[nodiscard]] std::size_t Stride() const { return static_cast<std::size_t>(width) * kChannels; }
    [[nodiscard]] const std::uint8_t* At(int column, int row) const {
        return pixels + static_cast<std::size_t>(row) * Stride() +
               static_cast<std::size_t>(column) * kChannels;
    }
};

inline PixelView HeldPixels(const BitmapInfo& picture) {
    return {picture.pixels.data(), picture.heldWidth, picture.heldHeight};
}

}  // namespace lumato::picture
