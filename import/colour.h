// Decoded pixels of any colour space into sRGB, by their embedded profile where there is a usable one.
//
// Constant once it is made, for any thread; pictures with the same profile may share one.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/bytes.h"

namespace lumato::picture {

enum class PixelLayout {
    Grey,
    Rgb,
    Cmyk,          // 0 is no ink
    CmykInverted,  // 255 is no ink, as Adobe's programs write it
    Held,          // as BitmapInfo holds pixels
};

[[nodiscard]] int BytesPerPixel(PixelLayout layout);

class ColourConverter {
  public:
    // A profile that is broken, or for another colour space than the pixels', counts as none: the pixels are
    // then taken as sRGB, the inks as ideal ones. One that changes nothing is not applied.
    ColourConverter(PixelLayout layout, ByteSpan profile);
    // The same, out of a store of one. Any thread.
    using Bytes = std::vector<std::uint8_t>;
    [[nodiscard]] static std::shared_ptr<const ColourConverter> For(PixelLayout layout, Bytes profile);

    // There was a profile, and it counts as none. Not so for one of red, green and blue with grey pixels,
    // which are as grey without it.
    [[nodiscard]] bool IgnoresProfile() const { return m_ignoresProfile; }

    // True when Convert would copy.
    [[nodiscard]] bool IsIdentity() const {
        return (m_layout == PixelLayout::Rgb || m_layout == PixelLayout::Held) && !m_transform;
    }

    // `count` pixels into red, green, blue; those that are held stay in that layout, and in place if `to` is
    // `from`. Any thread.
    void Convert(const std::uint8_t* from, std::uint8_t* to, std::size_t count) const;

  private:
    PixelLayout m_layout;
    bool m_ignoresProfile = false;
    std::unique_ptr<void, void (*)(void*)> m_transform;
};

}  // namespace lumato::picture
