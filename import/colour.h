// Decoded pixels of any colour space into sRGB, by their embedded profile where there is a usable one.
//
// One converter per picture, one thread at a time.
#pragma once

#include <cstdint>
#include <memory>

#include "base/bytes.h"

namespace lumato::picture {

enum class PixelLayout {
    Grey,
    Rgb,
    Cmyk,          // 0 is no ink
    CmykInverted,  // 255 is no ink, as Adobe's programs write it
};

[[nodiscard]] int BytesPerPixel(PixelLayout layout);

class ColourConverter {
  public:
    // A profile that is broken, or for another colour space than the pixels', counts as none: the pixels are
    // then taken as sRGB, the inks as ideal ones. One that changes nothing is not applied.
    ColourConverter(PixelLayout layout, ByteSpan profile);

    // True when Convert would copy.
    [[nodiscard]] bool IsIdentity() const { return m_layout == PixelLayout::Rgb && !m_transform; }

    // `count` pixels into red, green, blue.
    void Convert(const std::uint8_t* from, std::uint8_t* rgb, int count) const;
    // In place, `count` pixels as BitmapInfo holds them; of the layout Rgb. Any thread.
    void ConvertHeld(std::uint8_t* pixels, std::size_t count) const;

  private:
    PixelLayout m_layout;
    std::unique_ptr<void, void (*)(void*)> m_transform;
};

}  // namespace lumato::picture
