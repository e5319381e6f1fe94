#include "reader/usual_colours.h"

#include <cstdint>
#include <cstring>

#include <unistd.h>

namespace lumato::reader {
namespace {

constexpr int kInks = 4;

std::uint32_t Be32(const std::uint8_t* at) {
    return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | at[3];
}

// With one that is broken, vips_icc_transform() takes another.
bool IsProfileUsable(VipsImage* image) {
    const void* profile = nullptr;
    std::size_t size = 0;
    return vips_image_get_blob(image, VIPS_META_ICC_NAME, &profile, &size) == 0 &&
           vips_icc_is_compatible_profile(image, profile, size) != 0;
}

bool IsCmyk(VipsImage* image) {
    return vips_image_get_interpretation(image) == VIPS_INTERPRETATION_CMYK && image->Bands >= kInks;
}

bool ToBytes(Image& image) {
    if (vips_image_get_format(image.get()) == VIPS_FORMAT_USHORT &&
        !Apply(image, [](VipsImage* in, VipsImage** out) {
            return vips_linear1(in, out, 1.0 / 257, 0.5, nullptr);  // the cast cuts off
        }))
        return false;
    return vips_image_get_format(image.get()) == VIPS_FORMAT_UCHAR ||
           Apply(image, [](VipsImage* in, VipsImage** out) { return vips_cast_uchar(in, out, nullptr); });
}

// As ColourConverter has them in JPEG files: each colour is what its ink lets through of what black does.
bool IdealInksToRgb(Image& image) {
    if (!ToBytes(image) ||
        !Apply(image, [](VipsImage* in, VipsImage** out) { return vips_invert(in, out, nullptr); }))
        return false;
    VipsImage* band = nullptr;
    if (vips_extract_band(image.get(), &band, kInks - 1, nullptr) != 0)
        return false;
    const Image black(band);
    return ExtractBands(image, 0, kInks - 1) &&
           Apply(image, [&](VipsImage* in,
                            VipsImage** out) { return vips_multiply(in, black.get(), out, nullptr); }) &&
           Apply(image, [](VipsImage* in,
                           VipsImage** out) { return vips_linear1(in, out, 1.0 / 255, 0.5, nullptr); }) &&
           ToBytes(image) && Apply(image, [](VipsImage* in, VipsImage** out) {
               return vips_copy(in, out, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr);
           });
}

// Transparent inks over none would show white paper.
bool InksToRgbAndAlpha(Image& image, bool& isProfileUsable) {
    VipsImage* band = nullptr;
    if (vips_extract_band(image.get(), &band, kInks, nullptr) != 0)
        return false;
    Image alpha(band);
    return ToBytes(alpha) && ExtractBands(image, 0, kInks) && ToSrgb(image, isProfileUsable) &&
           ToThreeBytes(image) && Apply(image, [&](VipsImage* in, VipsImage** out) {
               return vips_bandjoin2(in, alpha.get(), out, nullptr);
           });
}

}  // namespace

bool Flatten(Image& image, bool& isProfileUsable) {
    if (vips_image_get_coding(image.get()) == VIPS_CODING_LABQ)
        return Apply(image, [](VipsImage* in, VipsImage** out) { return vips_LabQ2Lab(in, out, nullptr); });
    if (!vips_image_hasalpha(image.get()))
        return true;
    if (IsCmyk(image.get()) && !InksToRgbAndAlpha(image, isProfileUsable))
        return false;
    return Apply(image, [](VipsImage* in, VipsImage** out) { return vips_flatten(in, out, nullptr); });
}

// libpng passes over a profile that makes no sense to it, or none for the picture. Grey pictures often have
// one of red, green and blue, and are as grey without it.
bool HidesProfile(VipsImage* image, int descriptor) {
    constexpr std::size_t kStart = 8;
    constexpr std::size_t kColourType = 25;
    std::uint8_t head[kColourType + 1];
    if (vips_image_get_typeof(image, VIPS_META_ICC_NAME) != 0 ||
        ::pread(descriptor, head, sizeof head, 0) != sizeof head || std::memcmp(head + 1, "PNG", 3) != 0 ||
        (head[kColourType] & 2) == 0)
        return false;
    constexpr int kMostChunks = 1000;  // before the pixels
    off_t at = kStart;
    for (int i = 0; i < kMostChunks; ++i) {
        std::uint8_t chunk[8];
        if (::pread(descriptor, chunk, sizeof chunk, at) != sizeof chunk ||
            std::memcmp(chunk + 4, "IDAT", 4) == 0)
            return false;
        if (std::memcmp(chunk + 4, "iCCP", 4) == 0)
            return true;
        at += static_cast<off_t>(Be32(chunk)) + 12;
    }
    return false;
}

bool ToSrgb(Image& image, bool& isProfileUsable) {
    if (vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME) != 0) {
        const bool done =
            IsProfileUsable(image.get()) && Apply(image, [](VipsImage* in, VipsImage** out) {
                return vips_icc_transform(in, out, "srgb", "embedded", TRUE, "intent", VIPS_INTENT_RELATIVE,
                                          "black_point_compensation", TRUE, "depth", 8, nullptr);
            });
        if (done)
            return true;
        vips_error_clear();
        isProfileUsable = false;
    }
    if (IsCmyk(image.get()))
        return IdealInksToRgb(image);
    return Apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
    });
}

bool ToThreeBytes(Image& image) {
    const int bands = vips_image_get_bands(image.get());
    if (bands > 3 && !ExtractBands(image, 0, 3))
        return false;
    if (bands < 3 && !Apply(image, [](VipsImage* in, VipsImage** out) {
            VipsImage* const grey[] = {in, in, in};
            return vips_bandjoin(const_cast<VipsImage**>(grey), out, 3, nullptr);
        }))
        return false;
    return vips_image_get_format(image.get()) == VIPS_FORMAT_UCHAR ||
           Apply(image, [](VipsImage* in, VipsImage** out) { return vips_cast_uchar(in, out, nullptr); });
}

}  // namespace lumato::reader
