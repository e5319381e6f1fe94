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

}  // namespace

std::uint8_t* TestPicture::At(int x, int y) {
    return &pixels.at(static_cast<std::size_t>(height - 1 - y) * BitmapStride(width) +
                      static_cast<std::size_t>(x) * 3);
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

}  // namespace lumato::jpeg
