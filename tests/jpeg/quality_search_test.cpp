#include "jpeg/quality_search.h"

#include <array>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "jpeg/codec_form.h"
#include "jpeg/size_codes.h"
#include "tests/jpeg/test_picture.h"

namespace lumato::jpeg {
namespace {

constexpr int kStep = 10;

// What the search must come to: one quality after the other.
struct Expected {
    int quality = 0;
    bool fits = false;
    Bytes stream;
};
Expected OneByOne(const TestPicture& picture, int mode, int start, int budget) {
    Expected expected;
    for (int quality = start;; quality -= kStep) {
        expected.quality = quality;
        expected.stream = Encode(picture, quality, mode);
        expected.fits = static_cast<int>(expected.stream.size()) <= budget;
        if (expected.fits || quality - kStep <= 0)
            return expected;
    }
}

void ExpectTheSame(const TestPicture& picture, int mode, int start, int budget) {
    SCOPED_TRACE(std::to_string(picture.width) + " wide, mode " + std::to_string(mode) + ", from " +
                 std::to_string(start) + ", budget " + std::to_string(budget));
    const Expected expected = OneByOne(picture, mode, start, budget);
    Bytes out(MaximumStreamSize(picture.width, picture.height, mode));
    QualitySearch search(picture.pixels.data(), out.data(), picture.width, picture.height, mode);
    const auto outcome = search.Run(start, kStep, budget);
    ASSERT_TRUE(outcome.has_value());
    EXPECT_EQ(outcome->quality, expected.quality);
    EXPECT_EQ(outcome->fits, expected.fits);
    out.resize(static_cast<std::size_t>(outcome->size));
    EXPECT_TRUE(out == expected.stream);
}

// Budgets just at and around the sizes at all qualities, and far from all.
TEST(QualitySearch, FindsWhatTryingOneByOneFinds) {
    for (const std::string& form : CodecForms()) {
        ASSERT_TRUE(UseCodecForm(form));
        SCOPED_TRACE(form);
        for (const int mode : {0, 3, 13}) {
            for (const TestPicture& picture :
                 {Scene(300, 170), Noise(140, 30, 2), Grey(70, 40, 99), Scene(20, 9)}) {
                std::vector<int> budgets{-1, 0, 1, 700, 10'000'000};
                for (int quality = 90; quality > 0; quality -= 40) {
                    const auto size = static_cast<int>(Encode(picture, quality, mode).size());
                    budgets.insert(budgets.end(), {size - 1, size, size + size / 20});
                }
                for (const int budget : budgets)
                    ExpectTheSame(picture, mode, 90, budget);
                ExpectTheSame(picture, mode, 255, 1500);
                ExpectTheSame(picture, mode, 0, 1500);
            }
        }
    }
    UseCodecForm("");
}

TEST(QualitySearch, RefusesWhatCannotBeEncoded) {
    Bytes out(10000);
    EXPECT_FALSE(QualitySearch(out.data(), out.data(), 0, 8, 0).Run(90, kStep, 1000).has_value());
    EXPECT_FALSE(QualitySearch(nullptr, out.data(), 8, 8, 0).Run(90, kStep, 1000).has_value());
    EXPECT_FALSE(QualitySearch(out.data(), nullptr, 8, 8, 0).Run(90, kStep, 1000).has_value());
}

// The coefficients behind the first one, in the order of the scan.
using Scan = std::array<int, 64>;

SizeBits BitsOf(const SizeCodes& sizes, const Scan& scan) {
    SizeBits bits;
    unsigned zeros = 0;
    for (std::size_t place = 1; place < scan.size(); ++place) {
        if (scan[place] == 0) {
            ++zeros;
            continue;
        }
        bits += sizes.Value(zeros, scan[place]);
        zeros = 0;
    }
    bits += sizes.Tail(zeros);
    return bits;
}

// Values that appear in runs of zeros can make a block smaller with the standard codes, so the bound must be
// below what is there; but never above what any growth leads to.
TEST(SizeCodes, BoundWhatGrowingCoefficientsTake) {
    const SizeCodes sizes(ComputeHuffmanTable(StandardHuffman(StandardTable::LuminanceDc)),
                          ComputeHuffmanTable(StandardHuffman(StandardTable::LuminanceAc)));
    std::mt19937 random(1);
    int shrunk = 0;
    for (int round = 0; round < 2000; ++round) {
        Scan scan{};
        for (auto count = random() % 40; count > 0; --count)
            scan[1 + random() % 63] = static_cast<int>(random() % 15) - 7;
        const SizeBits before = BitsOf(sizes, scan);
        EXPECT_LE(before.Least(), before.Exact());
        for (int growth = 0; growth < 30; ++growth) {
            int& value = scan[1 + random() % 63];
            value += value < 0 ? -1 : 1;
            const SizeBits after = BitsOf(sizes, scan);
            shrunk += after.Exact() < before.Exact() ? 1 : 0;
            ASSERT_GE(after.Exact(), before.Least());
            ASSERT_GE(after.Least(), before.Least());
        }
    }
    EXPECT_GT(shrunk, 0);
}

}  // namespace
}  // namespace lumato::jpeg
