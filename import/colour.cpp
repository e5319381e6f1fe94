#include "import/colour.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

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
        case PixelLayout::Held:
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
        case PixelLayout::Held:
            return TYPE_ARGB_8;
        default:
            return TYPE_CMYK_8_REV;
    }
}

Profile Open(ByteSpan bytes) {
    return {bytes.empty() ? nullptr
                          : cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())),
            cmsCloseProfile};
}

// `from` may be none.
Transform MakeTransform(PixelLayout layout, const Profile& from) {
    Transform none(nullptr, cmsDeleteTransform);
    const Profile to(cmsCreate_sRGBProfile(), cmsCloseProfile);
    if (!from || !to || cmsGetColorSpace(from.get()) != SpaceOf(layout))
        return none;
    // Neighbours in a photograph are seldom alike: looking whether they are takes longer than converting.
    return Transform(
        cmsCreateTransform(from.get(), FormatOf(layout), to.get(),
                           layout == PixelLayout::Held ? TYPE_ARGB_8 : TYPE_RGB_8,
                           INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOCACHE),
        cmsDeleteTransform);
}

// Most pictures carry some edition of sRGB itself, under many names. Instead of trusting a name, try the
// transform on a grid of colours.
bool ChangesNothing(cmsHTRANSFORM transform, std::size_t bytesPerPixel) {
    constexpr std::size_t kSteps = 9;
    std::vector<std::uint8_t> in(kSteps * kSteps * kSteps * bytesPerPixel);
    for (std::size_t i = 0; i < kSteps * kSteps * kSteps; ++i) {
        const auto level = [](std::size_t step) {
            return static_cast<std::uint8_t>(step * 255 / (kSteps - 1));
        };
        std::uint8_t* const rgb = &in[(i + 1) * bytesPerPixel - 3];
        rgb[0] = level(i % kSteps);
        rgb[1] = level(i / kSteps % kSteps);
        rgb[2] = level(i / kSteps / kSteps);
    }
    std::vector<std::uint8_t> out = in;
    cmsDoTransform(transform, in.data(), out.data(), kSteps * kSteps * kSteps);
    return std::ranges::equal(in, out, [](int a, int b) { return std::abs(a - b) <= 2; });
}

void GreyToRgb(const std::uint8_t* from, std::uint8_t* rgb, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, rgb += 3)
        rgb[0] = rgb[1] = rgb[2] = from[i];
}

// `flip` is 255 for inks as 0 = none, 0 for inverted ones: the light that each ink lets through.
void InksToRgb(const std::uint8_t* from, std::uint8_t* rgb, std::size_t count, int flip) {
    for (std::size_t i = 0; i < count; ++i, from += 4, rgb += 3) {
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
    : m_layout(layout), m_transform(nullptr, cmsDeleteTransform) {
    const Profile from = Open(profile);
    m_transform = MakeTransform(layout, from);
    m_ignoresProfile =
        !profile.empty() && !m_transform &&
        !(layout == PixelLayout::Grey && from && cmsGetColorSpace(from.get()) == cmsSigRgbData);
    if (m_transform && SpaceOf(layout) == cmsSigRgbData &&
        ChangesNothing(m_transform.get(), static_cast<std::size_t>(BytesPerPixel(layout))))
        m_transform.reset();
}

// Photographs of a batch are mostly of one camera, and to make a transform takes as long as to convert half a
// picture: the last one stays.
std::shared_ptr<const ColourConverter> ColourConverter::For(PixelLayout layout, Bytes profile) {
    struct Last {
        PixelLayout layout;
        Bytes profile;
        std::shared_ptr<const ColourConverter> converter;
    };
    static std::mutex mutex;
    static Last last{};
    const std::lock_guard lock(mutex);
    if (last.converter == nullptr || last.layout != layout || last.profile != profile) {
        auto converter = std::make_shared<const ColourConverter>(layout, profile);
        last = {layout, std::move(profile), std::move(converter)};
    }
    return last.converter;
}

void ColourConverter::Convert(const std::uint8_t* from, std::uint8_t* to, std::size_t count) const {
    if (m_transform)
        return cmsDoTransform(m_transform.get(), from, to, static_cast<cmsUInt32Number>(count));
    switch (m_layout) {
        case PixelLayout::Grey:
            return GreyToRgb(from, to, count);
        case PixelLayout::Rgb:
        case PixelLayout::Held:
            std::memmove(to, from, count * static_cast<std::size_t>(BytesPerPixel(m_layout)));
            return;
        case PixelLayout::Cmyk:
            return InksToRgb(from, to, count, 255);
        case PixelLayout::CmykInverted:
            return InksToRgb(from, to, count, 0);
    }
}

}  // namespace lumato::picture
