#include "tests/picture/import_support.h"

#include <cstdlib>
#include <random>

#include <lcms2.h>
#include <vips/vips.h>

// The HEVC encoder behind the HEIC samples never gives back some of its thread data.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libx265";
}

namespace lumato::picture {
namespace {

Bytes Saved(cmsHPROFILE profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    Bytes bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

void StartVips() {
    static const bool started = VIPS_INIT("test") == 0;
    ASSERT_TRUE(started);
}

VipsImage* NewVipsImage(const Raw& raw) {
    StartVips();
    VipsImage* const memory = vips_image_new_from_memory_copy(raw.pixels.data(), raw.pixels.size(), raw.width,
                                                              raw.height, raw.bands, VIPS_FORMAT_UCHAR);
    VipsImage* image = nullptr;
    const VipsInterpretation space = raw.bands < 3 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
    vips_copy(memory, &image, "interpretation", space, nullptr);
    g_object_unref(memory);
    return image;
}

void Save(VipsImage* image, const Path& file, const std::string& saver) {
    // The reader under test lives in the same process, where it blocks what it does not need.
    vips_operation_block_set("VipsForeignSaveJxl", FALSE);
    ASSERT_EQ(vips_image_write_to_file(image, (file.string() + saver).c_str(), nullptr), 0)
        << vips_error_buffer();
    g_object_unref(image);
}

}  // namespace

Raw Quarters(int width, int height) {
    Raw raw{width, height, 3, {}};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const bool right = x >= width / 2;
            const Colour& colour = y < height / 2 ? (right ? kGreen : kRed) : (right ? kWhite : kBlue);
            raw.pixels.insert(raw.pixels.end(), colour.begin(), colour.end());
        }
    return raw;
}

Raw Plain(int width, int height, const std::vector<int>& pixel) {
    Raw raw{width, height, static_cast<int>(pixel.size()), {}};
    for (int i = 0; i < width * height; ++i)
        raw.pixels.insert(raw.pixels.end(), pixel.begin(), pixel.end());
    return raw;
}

Raw Noise(int width, int height, unsigned seed, int bands) {
    std::mt19937 random(seed);
    Raw raw{width, height, bands, Bytes(static_cast<std::size_t>(width * height * bands))};
    for (std::uint8_t& byte : raw.pixels)
        byte = static_cast<std::uint8_t>(random());
    return raw;
}

void MakeWithVips(const Raw& raw, const Path& file, const VipsOptions& options) {
    VipsImage* const image = NewVipsImage(raw);
    if (options.orientation > 0)
        vips_image_set_int(image, VIPS_META_ORIENTATION, options.orientation);
    if (!options.profile.empty())
        vips_image_set_blob_copy(image, VIPS_META_ICC_NAME, options.profile.data(), options.profile.size());
    Save(image, file, options.saver);
}

void MakeDeepPng(const Raw& raw, const Path& file) {
    VipsImage* const image = NewVipsImage(raw);
    VipsImage* scaled = nullptr;
    VipsImage* deep = nullptr;
    vips_linear1(image, &scaled, 257, 0, nullptr);
    vips_cast(scaled, &deep, VIPS_FORMAT_USHORT, nullptr);
    VipsImage* named = nullptr;
    vips_copy(deep, &named, "interpretation", VIPS_INTERPRETATION_RGB16, nullptr);
    for (VipsImage* const step : {image, scaled, deep})
        g_object_unref(step);
    Save(named, file, "");
}

Bytes SwappedProfile(std::size_t size) {
    const cmsCIExyY white = {0.3127, 0.3290, 1.0};
    const cmsCIExyYTRIPLE primaries = {{0.15, 0.06, 1.0}, {0.30, 0.60, 1.0}, {0.64, 0.33, 1.0}};
    cmsToneCurve* const curve = cmsBuildGamma(nullptr, 2.2);
    cmsToneCurve* const curves[] = {curve, curve, curve};
    cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsFreeToneCurve(curve);
    if (size > 0) {
        const Bytes filler(size, 7);
        cmsWriteRawTag(profile, static_cast<cmsTagSignature>(0x66696C6C), filler.data(),
                       static_cast<cmsUInt32Number>(size));
    }
    return Saved(profile);
}

Bytes SrgbProfile() {
    return Saved(cmsCreate_sRGBProfile());
}

Bytes CmykProfile() {
    StartVips();
    VipsBlob* blob = nullptr;
    if (vips_profile_load("cmyk", &blob, nullptr) != 0)
        return {};
    std::size_t size = 0;
    const auto* const data = static_cast<const std::uint8_t*>(vips_blob_get(blob, &size));
    Bytes bytes(data, data + size);
    vips_area_unref(VIPS_AREA(blob));
    return bytes;
}

void Put(const Path& file, ByteSpan bytes) {
    ASSERT_TRUE(WriteFile(file, bytes)) << file;
}

Bytes Get(const Path& file) {
    return ReadFile(file).value_or(Bytes());
}

Colour At(const BitmapInfo& info, int x, int y) {
    const std::size_t at = static_cast<std::size_t>(y) * info.bytesPerRow + static_cast<std::size_t>(x) * 4;
    return {info.pixels.at(at + 1), info.pixels.at(at + 2), info.pixels.at(at + 3)};
}

std::array<Colour, 4> QuarterColours(const BitmapInfo& info) {
    const int x = info.heldWidth / 4;
    const int y = info.heldHeight / 4;
    return {At(info, x, y), At(info, x * 3, y), At(info, x, y * 3), At(info, x * 3, y * 3)};
}

bool Near(const Colour& a, const Colour& b, int tolerance) {
    for (std::size_t c = 0; c < 3; ++c)
        if (std::abs(a[c] - b[c]) > tolerance)
            return false;
    return true;
}

std::array<Colour, 4> OrientedQuarters(int orientation) {
    constexpr std::array<Colour, 4> kShown[] = {{kRed, kGreen, kBlue, kWhite}, {kGreen, kRed, kWhite, kBlue},
                                                {kWhite, kBlue, kGreen, kRed}, {kBlue, kWhite, kRed, kGreen},
                                                {kRed, kBlue, kGreen, kWhite}, {kBlue, kRed, kWhite, kGreen},
                                                {kWhite, kGreen, kBlue, kRed}, {kGreen, kWhite, kRed, kBlue}};
    return kShown[orientation >= 1 && orientation <= 8 ? orientation - 1 : 0];
}

Result<void> Import(const Path& file, BitmapInfo& info, double scale, bool flipRows) {
    return CreateMyImage(
        file, flipRows, [scale](int, int) { return scale; }, info);
}

std::string Outcome(const Result<void>& result) {
    if (result)
        return "fine";
    constexpr const char* kNames[] = {"NotFound", "Unreadable", "Unwritable", "Unsupported", "Damaged",
                                      "TooLarge", "Refused",    "Gone",       "Busy"};
    return std::string(kNames[static_cast<int>(result.error().kind)]) + ": " + result.error().message;
}

void ExpectQuarters(const BitmapInfo& info, const std::array<Colour, 4>& expected, int tolerance) {
    const std::array<Colour, 4> got = QuarterColours(info);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_TRUE(Near(got[i], expected[i], tolerance))
            << "quarter " << i << ": " << testing::PrintToString(got[i]);
}

}  // namespace lumato::picture
