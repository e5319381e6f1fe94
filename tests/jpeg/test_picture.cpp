#include "tests/jpeg/test_picture.h"

#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "jpeg/bitmap_header.h"
#include "jpeg/encoder.h"

namespace lumato::jpeg {
namespace {

TestPicture Black(int width, int height) {
    return {width, height, Bytes(BitmapStride(width) * static_cast<std::size_t>(height))};
}

std::size_t OffsetOf(const TestPicture& picture, int x, int y) {
    return static_cast<std::size_t>(picture.height - 1 - y) * BitmapStride(picture.width) +
           static_cast<std::size_t>(x) * 3;
}

}  // namespace

std::uint8_t* TestPicture::At(int x, int y) {
    return &pixels.at(OffsetOf(*this, x, y));
}

const std::uint8_t* TestPicture::At(int x, int y) const {
    return &pixels.at(OffsetOf(*this, x, y));
}

TestPicture Grey(int width, int height, std::uint8_t value) {
    TestPicture picture = Black(width, height);
    std::fill(picture.pixels.begin(), picture.pixels.end(), value);
    return picture;
}

TestPicture Scene(int width, int height) {
    TestPicture picture = Black(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool inside = (x / 40 + y / 30) % 3 == 0;
            const double wave = std::sin(x * 0.11) * std::cos(y * 0.07);
            std::uint8_t* pixel = picture.At(x, y);
            pixel[0] = static_cast<std::uint8_t>(128 + 60 * wave);
            pixel[1] = static_cast<std::uint8_t>(inside ? 180 : 90 + 40 * std::sin((x + y) * 0.05));
            pixel[2] = static_cast<std::uint8_t>(120 + 100 * std::sin(y * 0.03));
        }
    }
    return picture;
}

TestPicture Noise(int width, int height, unsigned seed) {
    TestPicture picture = Black(width, height);
    std::mt19937 random(seed);
    for (std::uint8_t& byte : picture.pixels)
        byte = static_cast<std::uint8_t>(random() >> 8);
    return picture;
}

Bytes Encode(const TestPicture& picture, int quality, int mode) {
    constexpr std::uint8_t kGuard = 0xA5;
    const std::size_t bound = MaximumStreamSize(picture.width, picture.height, mode);
    Bytes stream(bound + 16, kGuard);
    int size = 0;
    const CVaskJpegEncoder encoder(quality);
    EXPECT_TRUE(encoder.CompressImage(picture.pixels.data(), stream.data(), picture.width, picture.height,
                                      size, mode));
    EXPECT_LE(static_cast<std::size_t>(size), bound);
    EXPECT_TRUE(std::all_of(stream.begin() + size, stream.end(), [](auto byte) { return byte == kGuard; }));
    stream.resize(static_cast<std::size_t>(size));
    return stream;
}

double Psnr(const TestPicture& picture, const std::vector<std::uint8_t>& decoded, int stride) {
    double sum = 0;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const std::size_t offset = static_cast<std::size_t>(y * stride + x) * 3;
            for (std::size_t i = 0; i < 3; ++i)
                sum += std::pow(picture.At(x, y)[i] - decoded.at(offset + i), 2);
        }
    }
    return 10 * std::log10(255.0 * 255.0 * 3 * picture.width * picture.height / std::max(sum, 1e-9));
}

}  // namespace lumato::jpeg
