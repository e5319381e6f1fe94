#include "import/colour.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include <lcms2.h>

namespace lumato::picture {
namespace {

using Transform = std::unique_ptr<void, void (*)(void*)>;
using Profile = std::unique_ptr<void, cmsBool (*)(void*)>;

cmsColorSpaceSignature SpaceOf(PixelLayout layout) {
    switch (layout) {
        case PixelLayout::Grey:
            return cmsSigGrayData;
        case PixelLayout::Rgb:
            return cmsSigRgbData;
        default:
            return cmsSigCmykData;
    }
}

cmsUInt32Number FormatOf(PixelLayout layout) {
    switch (layout) {
        case PixelLayout::Grey:
            return TYPE_GRAY_8;
        case PixelLayout::Rgb:
            return TYPE_RGB_8;
        case PixelLayout::Cmyk:
            return TYPE_CMYK_8;
        default:
            return TYPE_CMYK_8_REV;
    }
}

Transform MakeTransform(PixelLayout layout, ByteSpan bytes) {
    Transform none(nullptr, cmsDeleteTransform);
    if (bytes.empty())
        return none;
    const Profile from(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())),
                       cmsCloseProfile);
    const Profile to(cmsCreate_sRGBProfile(), cmsCloseProfile);
    if (!from || !to || cmsGetColorSpace(from.get()) != SpaceOf(layout))
        return none;
    return Transform(cmsCreateTransform(from.get(), FormatOf(layout), to.get(), TYPE_RGB_8,
                                        INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION),
                     cmsDeleteTransform);
}

// Most pictures carry some edition of sRGB itself, under many names. Instead of trusting a name, try the
// transform on a grid of colours.
bool ChangesNothing(cmsHTRANSFORM transform) {
    constexpr int kSteps = 9;
    for (int i = 0; i < kSteps * kSteps * kSteps; ++i) {
        const auto level = [](int step) { return static_cast<std::uint8_t>(step * 255 / (kSteps - 1)); };
        const std::array<std::uint8_t, 3> in = {level(i % kSteps), level(i / kSteps % kSteps),
                                                level(i / kSteps / kSteps)};
        std::array<std::uint8_t, 3> out{};
        cmsDoTransform(transform, in.data(), out.data(), 1);
        for (std::size_t c = 0; c < 3; ++c)
            if (std::abs(in[c] - out[c]) > 2)
                return false;
    }
    return true;
}

void GreyToRgb(const std::uint8_t* from, std::uint8_t* rgb, int count) {
    for (int i = 0; i < count; ++i, rgb += 3)
        rgb[0] = rgb[1] = rgb[2] = from[i];
}

// `flip` is 255 for inks as 0 = none, 0 for inverted ones: the light that each ink lets through.
void InksToRgb(const std::uint8_t* from, std::uint8_t* rgb, int count, int flip) {
    for (int i = 0; i < count; ++i, from += 4, rgb += 3) {
        const int black = from[3] ^ flip;
        for (int c = 0; c < 3; ++c)
            rgb[c] = static_cast<std::uint8_t>(((from[c] ^ flip) * black + 127) / 255);
    }
}

}  // namespace

int BytesPerPixel(PixelLayout layout) {
    switch (layout) {
        case PixelLayout::Grey:
            return 1;
        case PixelLayout::Rgb:
            return 3;
        default:
            return 4;
    }
}

ColourConverter::ColourConverter(PixelLayout layout, ByteSpan profile)
    : m_layout(layout), m_transform(MakeTransform(layout, profile)) {
    if (m_transform && layout == PixelLayout::Rgb && ChangesNothing(m_transform.get()))
        m_transform.reset();
}

void ColourConverter::ConvertHeld(std::uint8_t* pixels, std::size_t count) const {
    constexpr std::size_t kAtOnce = 256;
    std::array<std::uint8_t, kAtOnce * 3> rgb;
    while (count > 0) {
        const std::size_t some = std::min(count, kAtOnce);
        for (std::size_t i = 0; i < some; ++i)
            std::copy_n(pixels + i * 4 + 1, 3, rgb.data() + i * 3);
        Convert(rgb.data(), rgb.data(), static_cast<int>(some));
        for (std::size_t i = 0; i < some; ++i)
            std::copy_n(rgb.data() + i * 3, 3, pixels + i * 4 + 1);
        pixels += some * 4;
        count -= some;
    }
}

void ColourConverter::Convert(const std::uint8_t* from, std::uint8_t* rgb, int count) const {
    if (m_transform)
        return cmsDoTransform(m_transform.get(), from, rgb, static_cast<cmsUInt32Number>(count));
    switch (m_layout) {
        case PixelLayout::Grey:
            return GreyToRgb(from, rgb, count);
        case PixelLayout::Rgb:
            if (from != rgb)
                std::copy_n(from, count * 3, rgb);
            return;
        case PixelLayout::Cmyk:
            return InksToRgb(from, rgb, count, 255);
        case PixelLayout::CmykInverted:
            return InksToRgb(from, rgb, count, 0);
    }
}

}  // namespace lumato::picture
