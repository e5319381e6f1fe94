// Pictures for the codec's tests, in the form in which the encoder takes them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "base/bytes.h"
#include "jpeg/bitmap_header.h"
#include "jpeg/encoder.h"

namespace lumato::jpeg {

using Bytes = std::vector<std::uint8_t>;

struct TestPicture {
    TestPicture(int w, int h) : width(w), height(h), pixels(BitmapStride(w) * static_cast<std::size_t>(h)) {}

    // The three bytes of a pixel; row 0 is the top one.
    std::uint8_t* At(int x, int y) {
        return &pixels.at(static_cast<std::size_t>(height - 1 - y) * BitmapStride(width) +
                          static_cast<std::size_t>(x) * 3);
    }

    int width, height;
    Bytes pixels;  // blue, green, red; bottom row first; rows padded to a multiple of 4 bytes
};

inline TestPicture Grey(int width, int height, std::uint8_t value) {
    TestPicture picture(width, height);
    std::fill(picture.pixels.begin(), picture.pixels.end(), value);
    return picture;
}

// Smooth colours with some edges: compresses as a photograph does.
inline TestPicture Scene(int width, int height) {
    TestPicture picture(width, height);
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

// Every byte random: the worst that can happen to an encoder.
inline TestPicture Noise(int width, int height, unsigned seed) {
    TestPicture picture(width, height);
    std::mt19937 random(seed);
    for (std::uint8_t& byte : picture.pixels)
        byte = static_cast<std::uint8_t>(random() >> 8);
    return picture;
}

// The whole stream; fails the test when the encoder refuses or goes beyond MaximumStreamSize().
inline Bytes Encode(const TestPicture& picture, int quality, int mode) {
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
