// The codec against a general JPEG library: what we call baseline coding must be what everybody does.
#include <algorithm>
#include <cstdlib>

#include <gtest/gtest.h>

#include "jpeg/decoder.h"
#include "tests/jpeg/libjpeg_writer.h"
#include "tests/jpeg/slow_reader.h"
#include "tests/jpeg/test_picture.h"

namespace lumato::jpeg {
namespace {

// Also tells that our Huffman tables are the library's standard ones.
TEST(GeneralLibrary, CodesTheSameCoefficientsInTheSameBytes) {
    for (int mode = 0; mode < 4; ++mode) {
        for (const int quality : {1, 50, 90, 100}) {
            for (const TestPicture& picture : {Scene(70, 50), Noise(70, 50, 4)}) {
                const Bytes bytes = Encode(picture, quality, mode);
                const SlowStream stream = SlowRead(bytes);
                const std::vector<Bytes> expected = CodeMcusWithLibrary(stream);
                ASSERT_EQ(expected.size(), stream.mcus.size());
                for (std::size_t i = 0; i < expected.size(); ++i) {
                    const ByteSpan coded = stream.mcus[i].coded;
                    ASSERT_EQ(Bytes(coded.begin(), coded.end()), expected[i])
                        << "mode " << mode << " MCU " << i;
                }
            }
        }
    }
}

// Both round, and our transform has 6 fractional bits where theirs has 13: at most 6 apart, 0.7 on average.
TEST(GeneralLibrary, ShowsTheSamePicture) {
    for (int mode = 0; mode < 4; ++mode) {
        const Bytes bytes = Encode(Scene(100, 61), 90, mode);
        const SlowStream stream = SlowRead(bytes);
        const Bytes library = ShowWithLibrary(stream);
        const auto decoded = DecodeStream(bytes, 0, 0);
        ASSERT_TRUE(decoded.has_value());
        const int libraryStride = stream.across * stream.wide * 8;
        int worst = 0;
        double sum = 0;
        for (int y = 0; y < 61; ++y) {
            for (int i = 0; i < 100 * 3; ++i) {
                const auto ours = static_cast<std::size_t>(y * decoded->stride * 3 + i);
                const auto theirs = static_cast<std::size_t>(y * libraryStride * 3 + i - i % 3 + 2 - i % 3);
                const int error = std::abs(decoded->pixels[ours] - library[theirs]);
                worst = std::max(worst, error);
                sum += error;
            }
        }
        EXPECT_LE(worst, 6) << mode;
        EXPECT_LT(sum / (61 * 300), 0.7) << mode;
    }
}

}  // namespace
}  // namespace lumato::jpeg
