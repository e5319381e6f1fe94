#include <random>

#include <gtest/gtest.h>

#include "jpeg/codec_form.h"
#include "jpeg/encode_vectors.h"
#include "jpeg/encoder.h"
#include "jpeg/tables.h"
#include "tests/jpeg/test_picture.h"

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

// Every dividend and every divisor that can occur: coefficients have at most 64 times a sample's 128 and what
// truncation adds.
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
            for (int c = -kLargest; c <= kLargest; ++c) {
                std::fill(block.begin(), block.end(), static_cast<std::int16_t>(c));
                QuantizeBlocks(quantizer, group, block.data(), masks.data());
                for (const std::size_t k : places) {
                    const auto divisor = static_cast<int>(DivisorOf(table[k], aanscales[k]));
                    const int magnitude = (std::abs(c) + divisor / 2) / divisor;
                    const std::size_t at = BlockStart(group - 1, group) + k / 8 * 8 * group + k % 8;
                    ASSERT_EQ(block[at], c < 0 ? -magnitude : magnitude) << c << " / " << divisor;
                    ASSERT_EQ(masks.back() >> k & 1, magnitude != 0 ? 1U : 0U);
                }
            }
        }
    });
}

TEST(Forms, EncodeTheSameBytes) {
    std::mt19937 random(3);
    for (int round = 0; round < 240; ++round) {
        const int width = 1 + static_cast<int>(random() % 300);
        const int height = 1 + static_cast<int>(random() % 40);
        const int mode = round % 16;
        const int quality = static_cast<int>(random() % 101);
        const TestPicture picture = round % 3 == 0   ? Noise(width, height, static_cast<unsigned>(round))
                                    : round % 3 == 1 ? Extremes(width, height, static_cast<unsigned>(round))
                                                     : Scene(width, height);
        const Bytes expected = Plainly([&] { return Encode(picture, quality, mode); });
        InEveryVectorForm([&] {
            ASSERT_EQ(Encode(picture, quality, mode), expected)
                << width << " x " << height << ", mode " << mode << ", quality " << quality;
        });
    }
}

}  // namespace
}  // namespace lumato::jpeg
