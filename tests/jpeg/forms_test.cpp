#include <algorithm>
#include <array>
#include <random>

#include <gtest/gtest.h>

#include "jpeg/codec_form.h"
#include "jpeg/decoder.h"
#include "jpeg/encode_vectors.h"
#include "jpeg/encoder.h"
#include "jpeg/tables.h"
#include "tests/jpeg/test_picture.h"
#include "tests/support/seed.h"

namespace lumato::jpeg {
namespace {

// Runs `check` in every form but the plain one, and leaves the best one chosen.
template <class Check>
void InEveryVectorForm(Check check) {
    for (const std::string& form : CodecForms()) {
        if (form == "plain")
            continue;
        ASSERT_TRUE(UseCodecForm(form));
        SCOPED_TRACE(form);
        check();
    }
    UseCodecForm("");
}

template <class Make>
auto Plainly(Make make) {
    UseCodecForm("plain");
    auto made = make();
    UseCodecForm("");
    return made;
}

// Noise that is black and white only: the largest coefficients there are.
TestPicture Extremes(int width, int height, unsigned seed) {
    TestPicture picture = Noise(width, height, seed);
    for (std::uint8_t& byte : picture.pixels)
        byte = byte >= 128 ? 255 : 0;
    return picture;
}

// Some grain over a scene, as cameras give it.
TestPicture Grainy(int width, int height, unsigned seed) {
    TestPicture picture = Scene(width, height);
    const TestPicture noise = Noise(width, height, seed);
    for (std::size_t i = 0; i < picture.pixels.size(); ++i)
        picture.pixels[i] = static_cast<std::uint8_t>(picture.pixels[i] + noise.pixels[i] % (seed % 9 + 2));
    return picture;
}

TEST(Forms, AreChosenByName) {
    const std::vector<std::string> forms = CodecForms();
    EXPECT_EQ(forms.back(), "plain");
    for (const std::string& form : forms) {
        EXPECT_TRUE(UseCodecForm(form));
        EXPECT_EQ(UsesVectors(), form != "plain");
    }
    EXPECT_FALSE(UseCodecForm("no such form"));
    EXPECT_TRUE(UseCodecForm(""));
    EXPECT_EQ(UsesVectors(), forms.size() > 1);
}

// Every dividend and every divisor that can occur, in either sign in turn: coefficients have at most 64 times
// a sample's 128 and what truncation adds. There are codes for magnitudes up to 1,023 behind the first one.
TEST(Forms, QuantizersDivideExactly) {
    constexpr int kLargest = 8400;
    InEveryVectorForm([] {
        std::vector<bool> isTried(4096);
        const std::size_t group = BlocksPerGroup();
        std::vector<std::int16_t> block(64 * group);
        std::vector<std::uint64_t> masks(group);
        for (int value = 1; value <= 255; ++value) {
            QuantTable table{};
            table.fill(static_cast<std::uint8_t>(value));
            std::vector<std::size_t> places;
            for (std::size_t k = 0; k < 64; ++k) {
                const std::uint32_t divisor = DivisorOf(table[k], aanscales[k]);
                if (!isTried[divisor])
                    places.push_back(k);
                isTried[divisor] = true;
            }
            if (places.empty())
                continue;
            const WordQuantizer quantizer(table);
            const Quantizer plain(table);
            for (int i = 0; i <= kLargest; ++i) {
                const int c = i % 2 == 0 ? i : -i;
                std::fill(block.begin(), block.end(), static_cast<std::int16_t>(c));
                QuantizeBlocks(quantizer, group, block.data(), masks.data());
                for (const std::size_t k : places) {
                    const auto divisor = static_cast<int>(DivisorOf(table[k], aanscales[k]));
                    const int magnitude = std::min((i + divisor / 2) / divisor, k == 0 ? kLargest : 1023);
                    const std::size_t at = BlockStart(group - 1, group) + k / 8 * 8 * group + k % 8;
                    const bool isMarked = (masks.back() >> k & 1) != 0;
                    const int expected = c < 0 ? -magnitude : magnitude;
                    if (block[at] != expected || plain.Quantize(c, k) != expected ||
                        isMarked != (expected != 0))
                        FAIL() << c << " / " << divisor << " is " << block[at];
                }
            }
        }
    });
}

void ExpectSamePicture(const Bytes& stream) {
    const auto expected = Plainly([&] { return DecodeStream(stream, 0, 0); });
    InEveryVectorForm([&] {
        DecodedPicture used;
        used.pixels.assign(100000, 0xA5);
        ASSERT_EQ(DecodeStream(stream, 0, 0, used).has_value(), expected.has_value());
        if (expected) {
            ASSERT_EQ(used.width, expected->width);
            ASSERT_EQ(used.stride, expected->stride);
            ASSERT_TRUE(used.pixels == expected->pixels);
        }
    });
}

void ExpectSameBytesAndPixels(const TestPicture& picture, int quality, int mode) {
    const Bytes expected = Plainly([&] { return Encode(picture, quality, mode); });
    InEveryVectorForm([&] { ASSERT_TRUE(Encode(picture, quality, mode) == expected); });
    ExpectSamePicture(expected);
}

TEST(Forms, CodeTheSame) {
    std::mt19937 random(test::Seed(3));
    for (unsigned round = 0; round < 240; ++round) {
        const int width = 1 + static_cast<int>(random() % 300);
        const int height = 1 + static_cast<int>(random() % 40);
        const int mode = static_cast<int>(round % 16);
        const int quality = static_cast<int>(random() % 101);
        const std::array<TestPicture, 4> kinds{Noise(width, height, round), Extremes(width, height, round),
                                               Scene(width, height), Grainy(width, height, round)};
        const TestPicture& picture = kinds[round / 16 % 4];
        ASSERT_NO_FATAL_FAILURE(ExpectSameBytesAndPixels(picture, quality, mode))
            << width << " x " << height << ", mode " << mode << ", quality " << quality;
    }
}

// A coefficient of 1,024 behind the first one, for which there is no code.
TEST(Forms, BoundWhatHasNoCode) {
    constexpr std::array<std::uint8_t, 8> kRow{255, 0, 255, 0, 255, 0, 255, 5};
    TestPicture picture = Grey(8, 8, 0);
    for (int i = 0; i < 64; ++i)
        std::fill_n(picture.At(i % 8, i / 8), 3, kRow[static_cast<std::size_t>(i % 8)]);
    for (const int quality : {99, 100}) {
        ASSERT_NO_FATAL_FAILURE(ExpectSameBytesAndPixels(picture, quality, 0));
        const auto decoded = DecodeStream(Encode(picture, quality, 0), 8, 8);
        ASSERT_TRUE(decoded);
        for (std::size_t i = 0; i < picture.pixels.size(); ++i)
            ASSERT_NEAR(decoded->pixels[i], picture.pixels[i], 4) << quality;
    }
}

void ExpectSameOfDamage(unsigned seed, int rounds) {
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round) {
        const int mode = round % 16;
        Bytes stream = Encode(round % 3 == 0 ? Noise(150, 18, 1) : Scene(150, 34), 10 + round % 90, mode);
        // Half of the time in the tables and what is in front of them.
        const std::size_t range =
            round / 16 % 2 == 0 ? stream.size() : std::min<std::size_t>(stream.size(), 900);
        for (auto flips = 1 + random() % 8; flips > 0; --flips)
            stream[16 + random() % (range - 16)] = static_cast<std::uint8_t>(random() >> 7);
        if (random() % 4 == 0)
            stream.resize(random() % stream.size());
        ASSERT_NO_FATAL_FAILURE(ExpectSamePicture(stream)) << "round " << round;
    }
}

TEST(Forms, DecodeDamageTheSame) {
    ExpectSameOfDamage(test::Seed(6), 1500);
    ExpectSameOfDamage(77, 135);  // ends in a sum that is the lowest of 16 bits
}

}  // namespace
}  // namespace lumato::jpeg
