// Pictures for the codec's tests, in the form in which the encoder takes them.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"

namespace lumato::jpeg {

using Bytes = std::vector<std::uint8_t>;

struct TestPicture {
    int width = 0;
    int height = 0;
    Bytes pixels;  // blue, green, red; bottom row first; rows padded to a multiple of 4 bytes

    // The three bytes of a pixel; row 0 is the top one.
    [[nodiscard]] std::uint8_t* At(int x, int y);
};

[[nodiscard]] TestPicture Grey(int width, int height, std::uint8_t value);

// Smooth colours with some edges: compresses as a photograph does.
[[nodiscard]] TestPicture Scene(int width, int height);

// Every byte random: the worst that can happen to an encoder.
[[nodiscard]] TestPicture Noise(int width, int height, unsigned seed);

// The whole stream; fails the test when the encoder refuses or goes beyond MaximumStreamSize().
[[nodiscard]] Bytes Encode(const TestPicture& picture, int quality, int mode);

}  // namespace lumato::jpeg
