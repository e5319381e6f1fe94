#include "tests/support/picture_files.h"

#include <algorithm>
#include <cstdlib>
#include <random>

#include <vips/vips.h>

namespace lumato::picture {

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

Bytes Sample(const std::string& name) {
    return ReadFile(SampleFile(name)).value();
}

Bytes WithOrientation(Bytes file, int orientation) {
    constexpr std::uint8_t kEntry[] = {0x12, 1, 3, 0, 1, 0, 0, 0};
    *(std::search(file.begin(), file.end(), std::begin(kEntry), std::end(kEntry)) + sizeof kEntry) =
        static_cast<std::uint8_t>(orientation);
    return file;
}

Bytes CmykProfile() {
    VipsBlob* blob = nullptr;
    if (VIPS_INIT("test") != 0 || vips_profile_load("cmyk", &blob, nullptr) != 0)
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
    return std::string(kNames[static_cast<int>(result.error().kind)]) + ": " +
           result.error().message.English();
}

void ExpectQuarters(const BitmapInfo& info, const std::array<Colour, 4>& expected, int tolerance) {
    const std::array<Colour, 4> got = QuarterColours(info);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_TRUE(Near(got[i], expected[i], tolerance))
            << "quarter " << i << ": " << testing::PrintToString(got[i]);
}

}  // namespace lumato::picture
