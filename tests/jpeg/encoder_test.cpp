#include "jpeg/encoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jpeg/mcu_samples.h"
#include "jpeg/stream_format.h"
#include "tests/jpeg/slow_reader.h"
#include "tests/jpeg/test_picture.h"

namespace lumato::jpeg {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

Bytes Part(const Bytes& stream, std::size_t from, std::size_t size) {
    const ByteSpan part = ByteSpan(stream).subspan(from, size);
    return {part.begin(), part.end()};
}

TEST(Encoder, GreyPicturesComeOutByteForByte) {
    for (const int quality : {0, 1, 50, 90, 100}) {
        const Bytes tall = Encode(Grey(16, 16, 128), quality, 3);
        ASSERT_EQ(tall.size(), 578U);
        EXPECT_THAT(Part(tall, 0, 24), ElementsAre(0x00, 0x10, 0x00, 0x10, 0x03, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0,
                                                   0, 0, 0, 0, 0, 0, 0, 0x2E, 0x02));
        EXPECT_THAT(Part(tall, 574, 4), ElementsAre(0x00, 0x28, 0xA2, 0x8A));
        const Bytes small = Encode(Grey(8, 8, 128), quality, 0);
        ASSERT_EQ(small.size(), 576U);
        EXPECT_THAT(Part(small, 0, 5), ElementsAre(0x00, 0x08, 0x00, 0x08, 0x00));
        EXPECT_THAT(Part(small, 16, 8), ElementsAre(0, 0, 0, 0, 0, 0, 0x2E, 0x02));
        EXPECT_THAT(Part(small, 574, 2), ElementsAre(0x00, 0x2B));
    }
}

TEST(Encoder, OptionsLeaveTheirPartsOut) {
    const TestPicture picture = Scene(40, 24);
    const Bytes whole = Encode(picture, 80, 3);
    const std::size_t mcuTable = 3 * 2 * 8;
    const Bytes coded = Part(whole, 16 + mcuTable + 550, whole.size() - 16 - mcuTable - 550);

    const Bytes bare = Encode(picture, 80, -1);
    EXPECT_THAT(Part(bare, 0, 16), ElementsAre(0, 40, 0, 24, 0xFF, 0, 40, 1, 0, 1, 1, 0, 1, 1, 0, 0));
    EXPECT_EQ(Part(bare, 16, bare.size() - 16), coded);

    const Bytes noMcuTable = Encode(picture, 80, 3 | kOmitMcuTable);
    EXPECT_EQ(Part(noMcuTable, 16, 550), Part(whole, 16 + mcuTable, 550));
    EXPECT_EQ(Part(noMcuTable, 566, noMcuTable.size() - 566), coded);

    const Bytes noTables = Encode(picture, 1, 3 | kOmitTables);
    EXPECT_THAT(Part(noTables, 4, 4), ElementsAre(0x07, 0x13, 0x88, 1));
    const std::size_t firstOffset = GetLe16(ByteSpan(noTables).subspan(16 + 6));
    EXPECT_EQ(firstOffset, mcuTable);
}

TEST(Encoder, QualityIsBoundedIn16Bits) {
    const TestPicture picture = Scene(24, 24);
    EXPECT_EQ(Encode(picture, 0, 3), Encode(picture, 1, 3));
    EXPECT_EQ(Encode(picture, 65536, 3), Encode(picture, 1, 3));
    for (const int quality : {101, 1000, -1})
        EXPECT_EQ(Encode(picture, quality, 3), Encode(picture, 100, 3)) << quality;
    EXPECT_EQ(ScaleFactorOf(49), 102);
    EXPECT_EQ(ScaleFactorOf(50), 100);
    EXPECT_EQ(ScaleFactorOf(10), 500);

    const SlowStream finest = SlowRead(Encode(picture, 100, 3));
    EXPECT_THAT(finest.quant[0], testing::Each(1));
    const SlowStream usual = SlowRead(Encode(picture, 90, 3));
    EXPECT_THAT(std::vector<int>(usual.quant[0].begin(), usual.quant[0].begin() + 8),
                ElementsAre(3, 2, 2, 3, 5, 8, 10, 12));
    const SlowStream coarsest = SlowRead(Encode(picture, 1, 3));
    EXPECT_THAT(coarsest.quant[1], testing::Each(255));
}

// The picture grown to whole MCUs by repeating its last column and row must code the same MCUs.
TEST(Encoder, EdgesAreRepeated) {
    const struct {
        int width, height, mode, fullWidth, fullHeight;
    } rows[] = {{17, 9, 3, 32, 16}, {17, 9, 1, 32, 16}, {17, 9, 2, 24, 16},
                {1, 1, 0, 8, 8},    {1, 1, 3, 16, 16},  {15, 31, 3, 16, 32}};
    for (const auto& row : rows) {
        const TestPicture picture = Noise(row.width, row.height, 7);
        TestPicture grown = Grey(row.fullWidth, row.fullHeight, 0);
        for (int y = 0; y < row.fullHeight; ++y) {
            for (int x = 0; x < row.fullWidth; ++x)
                std::copy_n(picture.At(std::min(x, row.width - 1), std::min(y, row.height - 1)), 3,
                            grown.At(x, y));
        }
        const Bytes stream = Encode(picture, 90, row.mode);
        const Bytes expected = Encode(grown, 90, row.mode);
        EXPECT_EQ(Part(stream, 4, stream.size() - 4), Part(expected, 4, expected.size() - 4))
            << row.width << " x " << row.height << " mode " << row.mode;
    }
}

TEST(Encoder, ChrominanceIsThatOfTheTopLeftPixel) {
    const TestPicture picture = Noise(16, 16, 3);
    for (int mode = 0; mode < 4; ++mode) {
        const McuGrid grid = GridOf(16, 16, mode);
        McuSampler sampler(picture.pixels.data(), 16, 16, grid);
        McuBlocks blocks;
        sampler.Sample(0, 0, blocks);
        for (int i = 0; i < 64; ++i) {
            const std::uint8_t* bgr = picture.At(i % 8 * (1 + (mode & 1)), i / 8 * (1 + (mode >> 1)));
            const double cb = -0.168736 * bgr[2] - 0.331264 * bgr[1] + 0.5 * bgr[0];
            const double cr = 0.5 * bgr[2] - 0.418688 * bgr[1] - 0.081312 * bgr[0];
            EXPECT_NEAR(blocks[0][static_cast<std::size_t>(i)], cb, 0.51) << mode << " " << i;
            EXPECT_NEAR(blocks[1][static_cast<std::size_t>(i)], cr, 0.51) << mode << " " << i;
        }
    }
}

// Pure colours reach the ends of the sample range without passing them.
TEST(Encoder, ColoursStayInRange) {
    for (int corner = 0; corner < 8; ++corner) {
        TestPicture picture = Grey(8, 8, 0);
        for (int i = 0; i < 64; ++i) {
            for (int c = 0; c < 3; ++c)
                picture.At(i % 8, i / 8)[c] = (corner >> c & 1) != 0 ? 255 : 0;
        }
        McuSampler sampler(picture.pixels.data(), 8, 8, GridOf(8, 8, 0));
        McuBlocks blocks;
        sampler.Sample(0, 0, blocks);
        for (std::size_t block = 0; block < 3; ++block)
            EXPECT_THAT(blocks[block], testing::Each(testing::AllOf(testing::Ge(-128), testing::Le(127))));
    }
}

// SlowRead() compares every entry with where the MCU's data are and with the predictors in force.
TEST(Encoder, McuTableCountsModulo65536) {
    const SlowStream stream = SlowRead(Encode(Noise(500, 400, 5), 100, 0));
    EXPECT_EQ(stream.mcus.size(), 63U * 50U);
    EXPECT_EQ(stream.unread, 0U);
    const SlowMcu& last = stream.mcus.back();
    EXPECT_NE(last.predictors, (std::array<int, 3>{}));
    const auto distance = static_cast<std::size_t>(last.coded.data() - stream.mcus.front().coded.data());
    EXPECT_GT(distance, 2U * 65536U) << "the picture is too small for this test";
}

TEST(Encoder, NegativePredictorsAreStoredInTwosComplement) {
    TestPicture picture = Grey(16, 8, 128);
    for (int i = 0; i < 64; ++i)
        picture.At(i % 8, i / 8)[0] = 120;  // a little less blue on the left
    const Bytes stream = Encode(picture, 100, 0);
    const SlowStream read = SlowRead(stream);
    ASSERT_LT(read.mcus[1].predictors[1], 0);
    EXPECT_EQ(stream[16 + 8 + 3], 0xFF);
}

TEST(Encoder, NothingExceedsTheBound) {
    for (int mode = 0; mode < 16; ++mode) {
        for (const int side : {1, 2, 9, 33}) {
            (void)Encode(Noise(side, side, 11), 100, mode);  // Encode() checks the bound
            (void)Encode(Noise(side, side, 11), 1, mode);
        }
    }
}

TEST(Encoder, RefusesWhatCannotBe) {
    TestPicture picture = Grey(8, 8, 0);
    Bytes out(MaximumStreamSize(8, 8, 0), 0xA5);
    const Bytes untouched = out;
    const CVaskJpegEncoder encoder(90);
    int size = -7;
    std::uint8_t* const pixels = picture.pixels.data();
    EXPECT_FALSE(encoder.CompressImage(nullptr, out.data(), 8, 8, size, 0));
    EXPECT_FALSE(encoder.CompressImage(pixels, nullptr, 8, 8, size, 0));
    for (const auto& [width, height] : {std::pair{0, 8}, {8, 0}, {-1, 8}, {8, -1}, {65536, 1}, {1, 65537}}) {
        EXPECT_FALSE(encoder.CompressImage(pixels, out.data(), width, height, size, 0));
        EXPECT_EQ(MaximumStreamSize(width, height, 0), 0U);
    }
    EXPECT_EQ(size, -7);
    EXPECT_EQ(out, untouched);
}

}  // namespace
}  // namespace lumato::jpeg
