#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

#include "jpeg/forward_dct.h"
#include "jpeg/inverse_dct.h"
#include "jpeg/tables.h"
#include "tests/jpeg/slow_reader.h"

namespace lumato::jpeg {
namespace {

QuantTable Flat(int value) {
    QuantTable table{};
    table.fill(static_cast<std::uint8_t>(value));
    return table;
}

Block Coefficients(const Block& samples, const QuantTable& quant) {
    Block coefficients;
    ForwardDct(samples, coefficients);
    Quantizer(quant).Quantize(coefficients);
    return coefficients;
}

void Invert(const std::array<std::int16_t, 64>& block, const DequantTable& quant,
            std::array<std::uint8_t, 64>& output) {
    std::array<std::int16_t, 64> dequantized;
    for (std::size_t k = 0; k < 64; ++k)
        dequantized[k] = Dequantize(block[k], quant[k]);
    idct_int(dequantized.data(), output.data(), 8);
}

double ScaleOf(std::size_t frequency) {
    return frequency == 0
               ? 1
               : std::numbers::sqrt2 * std::cos(static_cast<double>(frequency) * std::numbers::pi / 16);
}

TEST(Transform, ScalesAreThoseOfTheirFormula) {
    for (std::size_t k = 0; k < 64; ++k) {
        const double scale = ScaleOf(k / 8) * ScaleOf(k % 8);
        EXPECT_EQ(aanscales[k], std::lround(16384 * scale)) << k;
        EXPECT_EQ(factor[k], static_cast<int>(64 * scale + 1e-9)) << k;
    }
}

// The division by multiplication must be the division, for every dividend and divisor that occur.
TEST(Transform, QuantizerDividesExactly) {
    for (int quant = 1; quant <= 255; ++quant) {
        const Quantizer quantizer(Flat(quant));
        for (int c = -20000; c <= 20000; c += quant % 16 == 1 ? 1 : 37) {
            Block block;
            block.fill(c);
            quantizer.Quantize(block);
            for (const std::size_t k : {0U, 1U, 9U, 35U, 63U}) {
                const int divisor = (quant * aanscales[k] + 1024) >> 11;
                const int magnitude = (std::abs(c) + divisor / 2) / divisor;
                ASSERT_EQ(block[k], c < 0 ? -magnitude : magnitude) << c << " / " << divisor;
            }
        }
    }
}

// Fixed point of 8 bits, twice: coefficients are off by at most 3 % of their size
// (rounded divisors) and 2. Also their sign and
// position must be right, which this tells.
TEST(Transform, ForwardMatchesADoublePrecisionOne) {
    std::mt19937 random(1);
    for (int round = 0; round < 500; ++round) {
        Block samples;
        std::array<double, 64> exact{};
        for (std::size_t i = 0; i < 64; ++i)
            exact[i] = samples[i] = static_cast<int>(random() % 256) - 128;
        const std::array<double, 64> expected = SlowForwardDct(exact);
        const Block coefficients = Coefficients(samples, Flat(16));
        for (std::size_t k = 0; k < 64; ++k)
            ASSERT_NEAR(coefficients[k] * 16, expected[k], 8 + 2 + 0.03 * std::abs(expected[k])) << k;
    }
}

// Every constant and every truncation shows in one of these rows, which were computed by hand: streams must
// come out the same to the bit. A block of equal rows leaves 8 times the row's transform in its first row.
TEST(Transform, ForwardIsExact) {
    const struct {
        std::array<int, 8> samples;
        std::array<int, 8> transformed;
    } rows[] = {
        {{100, 0, 0, 0, 0, 0, 0, -100}, {0, 383, 0, 277, 0, 123, 0, 17}},
        {{0, 100, 0, 0, 0, 0, -100, 0}, {0, 324, 0, -64, 0, -218, 0, -42}},
        {{0, 0, 0, 100, -100, 0, 0, 0}, {0, 76, 0, -184, 0, 184, 0, -76}},
        {{100, 0, 0, 0, 0, 0, 0, 100}, {200, 0, 341, 0, 200, 0, 59, 0}},
        {{0, 100, 0, 0, 0, 0, 100, 0}, {200, 0, 141, 0, -200, 0, -141, 0}},
        {{0, -100, 0, 0, 0, 0, -100, 0}, {-200, 0, -142, 0, 200, 0, 142, 0}},
    };
    for (const auto& row : rows) {
        Block flat{};
        Block upright{};
        for (std::size_t i = 0; i < 64; ++i) {
            flat[i] = row.samples[i % 8];
            upright[i] = row.samples[i / 8];
        }
        Block across;
        Block down;
        ForwardDct(flat, across);
        ForwardDct(upright, down);
        for (std::size_t k = 0; k < 8; ++k) {
            EXPECT_EQ(across[k], 8 * row.transformed[k]) << k;
            // Downwards the row pass has multiplied by 8 first, so less is truncated.
            EXPECT_NEAR(down[k * 8], 8 * row.transformed[k], 16) << k;
        }
    }
}

// The same for the inverse: one coefficient of the first row, whose quantization value and scale make 1.
TEST(Transform, InverseIsExact) {
    const struct {
        std::size_t place;
        int value;
        std::array<int, 8> samples;
    } rows[] = {
        {1, 700, {216, 202, 179, 145, 112, 78, 54, 41}},
        {2, 700, {216, 165, 91, 41, 41, 91, 165, 216}},
        {5, 500, {191, 18, 150, 222, 34, 107, 238, 66}},
    };
    DequantTable quant{};
    quant.fill(64);
    for (const auto& row : rows) {
        std::array<std::int16_t, 64> across{};
        std::array<std::int16_t, 64> down{};
        across[row.place] = down[row.place * 8] = static_cast<std::int16_t>(row.value);
        std::array<std::uint8_t, 64> output{};
        Invert(across, quant, output);
        for (std::size_t i = 0; i < 64; ++i)
            EXPECT_EQ(output[i], row.samples[i % 8]) << row.place << " " << i;
        Invert(down, quant, output);
        for (std::size_t i = 0; i < 64; ++i)
            EXPECT_EQ(output[i], row.samples[i / 8]) << row.place << " " << i;
    }
}

// No block can have an AC value that no code exists for. The extreme for a position is the block that has the
// sign of its basis function everywhere; at the highest quality rounded divisors add up to 10 %.
TEST(Transform, LargestValuesHaveCodes) {
    for (std::size_t target = 1; target < 64; ++target) {
        for (const bool inverted : {false, true}) {
            SlowBlock one{};
            one[target] = 1;
            std::array<int, 64> quant{};
            quant[target] = 1;
            const std::array<double, 64> basis = SlowInverseDct(one, quant);
            Block samples;
            for (std::size_t i = 0; i < 64; ++i)
                samples[i] = (basis[i] - 128 > 0) != inverted ? 127 : -128;
            const Block coefficients = Coefficients(samples, Flat(1));
            for (std::size_t k = 1; k < 64; ++k)
                EXPECT_LT(std::abs(coefficients[k]), 1024) << target << " at " << k;
            EXPECT_GT(std::abs(coefficients[target]), 500) << "not an extreme: " << target;
        }
    }
}

// Scales rounded down (4.87 to 4) and 6 fractional bits: the finer the quantization, the more the transform's
// own error shows. The bounds hold for noise; smooth pictures fare far better.
TEST(Transform, InverseMatchesADoublePrecisionOne) {
    std::mt19937 random(2);
    for (const auto& [quality, worstBound, meanBound] :
         {std::tuple{10, 1.1, 0.35}, {50, 2.5, 0.45}, {90, 9.0, 1.2}, {100, 8.0, 1.5}}) {
        const QuantTable table = ScaleTable(std_luminance_quant_tbl, ScaleFactorOf(quality));
        DequantTable dequant{};
        std::array<int, 64> plain{};
        for (std::size_t k = 0; k < 64; ++k) {
            dequant[k] = static_cast<std::uint16_t>(table[k] * factor[k]);
            plain[k] = table[k];
        }
        double sum = 0;
        double worst = 0;
        constexpr int kRounds = 500;
        for (int round = 0; round < kRounds; ++round) {
            Block samples;
            const int slope = static_cast<int>(random() % 16);
            for (std::size_t i = 0; i < 64; ++i)
                samples[i] = static_cast<int>(i % 8 * static_cast<unsigned>(slope) + random() % 32) - 70;
            const Block coefficients = Coefficients(samples, table);
            std::array<std::int16_t, 64> block{};
            SlowBlock slow{};
            for (std::size_t k = 0; k < 64; ++k)
                slow[k] = block[k] = static_cast<std::int16_t>(coefficients[k]);
            std::array<std::uint8_t, 64> output{};
            Invert(block, dequant, output);
            const std::array<double, 64> expected = SlowInverseDct(slow, plain);
            for (std::size_t i = 0; i < 64; ++i) {
                const double error = std::abs(output[i] - std::clamp(expected[i], 0.0, 255.0));
                sum += error;
                worst = std::max(worst, error);
            }
        }
        EXPECT_LT(worst, worstBound) << quality;
        EXPECT_LT(sum / (64 * kRounds), meanBound) << quality;
    }
}

// A flat block takes the short way through the column pass; the division truncates towards 0.
TEST(Transform, FlatBlocksTruncateTowardsZero) {
    DequantTable quant{};
    quant[0] = 64;
    const struct {
        int dc;
        std::uint8_t sample;
    } rows[] = {{0, 128}, {3, 128}, {4, 129}, {-5, 128}, {-6, 127}, {1016, 255}, {-1024, 0}, {2000, 255}};
    for (const auto& row : rows) {
        std::array<std::int16_t, 64> block{};
        block[0] = static_cast<std::int16_t>(row.dc);
        std::array<std::uint8_t, 64> output{};
        Invert(block, quant, output);
        for (const std::uint8_t sample : output)
            EXPECT_EQ(sample, row.sample) << row.dc;
    }
    // -101 * 3 + 32 is -271: divided by 64 it is -4, where a shift would give -5, the next sample value.
    quant[0] = 3;
    const std::array<std::int16_t, 64> block{-101};
    std::array<std::uint8_t, 64> output{};
    Invert(block, quant, output);
    EXPECT_EQ(output[0], 128);
}

// Only a damaged block has values beyond 16 bits; they wrap instead of ending at a bound.
TEST(Transform, DamagedBlocksWrapAt16Bits) {
    DequantTable quant{};
    quant.fill(255 * 64);
    std::array<std::int16_t, 64> block{};
    std::array<std::uint8_t, 64> output{};
    block[0] = 256;  // 256 * 255 is 65,280, which is -256 in 16 bits
    Invert(block, quant, output);
    EXPECT_EQ(output[0], 96);  // (-256 + 4) >> 3 is -32
}

}  // namespace
}  // namespace lumato::jpeg
