#include "jpeg/decoder.h"

#include <algorithm>
#include <filesystem>
#include <random>

#include <gtest/gtest.h>
#include <unistd.h>

#include "jpeg/bit_writer.h"
#include "jpeg/huffman_code.h"
#include "jpeg/inverse_dct.h"
#include "jpeg/mcu_grid.h"
#include "jpeg/stream_format.h"
#include "jpeg/tables.h"
#include "tests/jpeg/slow_reader.h"
#include "tests/jpeg/test_picture.h"

namespace lumato::jpeg {
namespace {

TEST(Decoder, ReadsWhatTheEncoderWrites) {
    const TestPicture picture = Scene(100, 61);
    for (int mode = 0; mode < 16; ++mode) {
        const auto decoded = DecodeStream(Encode(picture, 95, mode), 100, 61);
        ASSERT_TRUE(decoded.has_value()) << mode << ": " << decoded.error().message;
        EXPECT_EQ(decoded->width, 100);
        EXPECT_EQ(decoded->height, 61);
        EXPECT_EQ(decoded->stride, 104);
        // Chrominance without averaging costs at the scene's edges.
        EXPECT_GT(Psnr(picture, decoded->pixels, 104), (mode & 3) == 0 ? 38 : 26) << mode;
        EXPECT_EQ(decoded->pixels, DecodeStream(Encode(picture, 95, mode & 3), 0, 0)->pixels) << mode;
    }
}

TEST(Decoder, EveryQualityRoundTrips) {
    const TestPicture picture = Scene(64, 48);
    double last = 0;
    for (const int quality : {1, 5, 10, 25, 50, 75, 90}) {
        const auto withTables = DecodeStream(Encode(picture, quality, 0), 0, 0);
        const auto without = DecodeStream(Encode(picture, quality, kOmitTables), 0, 0);
        ASSERT_TRUE(withTables.has_value() && without.has_value());
        EXPECT_EQ(withTables->pixels, without->pixels) << quality;
        const double psnr = Psnr(picture, withTables->pixels, 64);
        EXPECT_GT(psnr, last) << quality;
        last = psnr;
    }
    // At the highest quality the decoder's 6 fractional bits are what limits.
    for (const int mode : {0, kOmitTables})
        EXPECT_GT(Psnr(picture, DecodeStream(Encode(picture, 100, mode), 0, 0)->pixels, 64), 44);
}

TEST(Decoder, LongThinPicturesAreDecoded) {
    for (int mode = 0; mode < 4; ++mode) {
        const TestPicture wide = Scene(65535, 1);
        const auto wideDecoded = DecodeStream(Encode(wide, 95, mode), 65535, 1);
        ASSERT_TRUE(wideDecoded.has_value());
        EXPECT_EQ(wideDecoded->stride, 65536);
        EXPECT_GT(Psnr(wide, wideDecoded->pixels, 65536), 25) << mode;
        const TestPicture tall = Scene(1, 65535);
        const auto tallDecoded = DecodeStream(Encode(tall, 95, mode), 1, 65535);
        ASSERT_TRUE(tallDecoded.has_value());
        EXPECT_GT(Psnr(tall, tallDecoded->pixels, 8), 25) << mode;
    }
}

// What is shown of MCUs that were read in the slow way.
Bytes PixelsOf(const SlowStream& slow, const DecodedPicture& size) {
    Bytes pixels(size.pixels.size());
    const std::array<int, 2> side{8 * slow.wide, 8 * slow.tall};
    for (std::size_t i = 0; i < slow.mcus.size(); ++i) {
        std::vector<std::array<std::uint8_t, 64>> samples;
        for (const SlowBlock& block : slow.mcus[i].blocks) {
            const std::array<int, 64>& quant = slow.quant[samples.size() < 2 ? 1 : 0];
            std::array<std::int16_t, 64> dequantized;
            for (std::size_t k = 0; k < 64; ++k)
                dequantized[k] = Dequantize(static_cast<std::int16_t>(block[k]),
                                            static_cast<std::uint16_t>(quant[k] * factor[k]));
            idct_int(dequantized.data(), samples.emplace_back().data(), 8);
        }
        const int left = static_cast<int>(i) % slow.across * side[0];
        const int top = static_cast<int>(i) / slow.across * side[1];
        for (int y = 0; y < side[1] && top + y < size.height; ++y) {
            for (int x = 0; x < side[0] && left + x < size.stride; ++x) {
                const auto luma = static_cast<std::size_t>(2 + y / 8 * slow.wide + x / 8);
                const auto chroma = static_cast<std::size_t>(y / slow.tall * 8 + x / slow.wide);
                const int scaled = 1024 * samples[luma][static_cast<std::size_t>(y % 8 * 8 + x % 8)] + 512;
                const int cb = samples[0][chroma] - 128;
                const int cr = samples[1][chroma] - 128;
                const std::array<int, 3> bgr{scaled + 1815 * cb, scaled - 352 * cb - 731 * cr,
                                             scaled + 1436 * cr};
                for (std::size_t c = 0; c < 3; ++c)
                    pixels.at(static_cast<std::size_t>((top + y) * size.stride + left + x) * 3 + c) =
                        static_cast<std::uint8_t>(std::clamp(bgr[c] >> 10, 0, 255));
            }
        }
    }
    return pixels;
}

// Cut at every byte: refused until the data could hold all MCUs, then the whole MCUs are shown and nothing
// else.
TEST(Decoder, CutStreamsShowTheirWholeMcus) {
    const Bytes stream = Encode(Noise(40, 24, 9), 80, 0);
    const SlowStream slow = SlowRead(stream);
    const auto front = static_cast<std::size_t>(slow.mcus.front().coded.data() - stream.data());
    for (std::size_t size = 0; size <= stream.size(); ++size) {
        const ByteSpan cut = ByteSpan(stream).first(size);
        const auto decoded = DecodeStream(cut, 0, 0);
        ASSERT_EQ(decoded.has_value(), size >= front + slow.mcus.size()) << size;
        if (decoded) {
            ASSERT_TRUE(decoded->pixels == PixelsOf(SlowReadDamaged(cut), *decoded)) << size;
        }
    }
}

// Damage must neither crash nor hang nor ask for memory that the picture's size does not explain. What is
// shown in spite of it is fixed to the bit.
TEST(Decoder, DamagedStreamsAreReadByTheRules) {
    std::mt19937 random(20);
    int shown = 0;
    for (int round = 0; round < 4800; ++round) {
        const int mode = round % 16;
        const std::size_t front = mode < 4 ? 16 + 8 * GridOf(50, 34, mode).McuCount() : 0;
        Bytes stream = Encode(Scene(50, 34), 10 + round % 90, mode);
        // Half of the time in the tables and what is in front of them.
        const std::size_t range =
            round / 16 % 2 == 0 ? stream.size() : std::min(stream.size(), front + kTableBlockSize);
        for (unsigned flips = 1 + random() % 8; flips > 0; --flips)
            stream[front + random() % (range - front)] = static_cast<std::uint8_t>(random() >> 7);
        if (random() % 4 == 0)
            stream.resize(random() % stream.size());
        const auto decoded = DecodeStream(stream, 0, 0);
        if (!decoded)
            continue;
        ++shown;
        ASSERT_LE(decoded->pixels.size(), (stream.size() + 1) * 16 * 16 * 3);
        if (mode < 4) {
            ASSERT_TRUE(decoded->pixels == PixelsOf(SlowReadDamaged(stream), *decoded)) << "round " << round;
        }
    }
    EXPECT_GT(shown, 1000);
}

// Seventeen megabytes that ask for thirteen thousand.
TEST(Decoder, HugePicturesAreRefusedBeforeTheyTakeMemory) {
    constexpr int kMode = kWideMcu | kTallMcu | kOmitMcuTable;
    Bytes stream = Encode(Grey(16, 16, 128), 90, kMode);
    for (const std::size_t size : {0U, 2U}) {  // width and height
        ASSERT_EQ(GetBe16(ByteSpan(stream).subspan(size)), 16);
        PutBe16(MutableByteSpan(stream).subspan(size), 65535);
    }
    stream.resize(std::size_t{4096} * 4096 + 1000);
    const auto decoded = DecodeStream(stream, 0, 0);
    ASSERT_FALSE(decoded.has_value());
    EXPECT_EQ(decoded.error().kind, ErrorKind::TooLarge) << decoded.error().message;
}

// Grey MCUs of 8 x 8 pixels in one row whose luminance blocks are coded by hand; quantization values are 1.
class HandCoded {
  public:
    explicit HandCoded(int mcus)
        : m_stream(Encode(Grey(8 * mcus, 8, 128), 100, kOmitMcuTable)), m_bits(m_stream.data() + kFront) {
        m_stream.resize(kFront + 1000);
        m_bits = BitWriter(m_stream.data() + kFront);
    }

    // Starts the next MCU with Cb and Cr blocks that are 0.
    void Mcu() {
        m_bits.FillByte();
        m_bits.Emit(0, 8);
    }
    void Value(StandardTable which, int symbol, std::uint32_t additional) {
        const tag_HUFFMAN_TABLE table = ComputeHuffmanTable(StandardHuffman(which));
        const auto index = static_cast<std::size_t>(symbol);
        m_bits.Emit(table.code.at(index), table.size.at(index));
        m_bits.Emit(additional, symbol & 15);
    }
    Bytes Decode() {
        m_bits.FillByte();
        const auto size = static_cast<std::size_t>(m_bits.Position() - m_stream.data());
        return DecodeStream(ByteSpan(m_stream).first(size), 0, 0)->pixels;
    }

  private:
    static constexpr std::size_t kFront = 16 + kTableBlockSize;

    Bytes m_stream;
    BitWriter m_bits;
};

TEST(Decoder, NoEndOfBlockFollowsTheLastCoefficient) {
    HandCoded picture(2);
    picture.Mcu();
    picture.Value(StandardTable::LuminanceDc, 0, 0);
    for (int k = 1; k <= 63; ++k)
        picture.Value(StandardTable::LuminanceAc, 0x01, 0);
    picture.Mcu();
    picture.Value(StandardTable::LuminanceDc, 0, 0);
    picture.Value(StandardTable::LuminanceAc, 0, 0);
    const Bytes pixels = picture.Decode();
    EXPECT_EQ(pixels[8 * 3], 128);
    EXPECT_NE(pixels[0], 128);
}

TEST(Decoder, PredictorsWrapAt16Bits) {
    HandCoded picture(18);
    for (int i = 0; i < 18; ++i) {
        picture.Mcu();
        picture.Value(StandardTable::LuminanceDc, 11, i < 17 ? 2047 : 0);
        picture.Value(StandardTable::LuminanceAc, 0, 0);
    }
    const Bytes pixels = picture.Decode();
    EXPECT_EQ(pixels[15 * 8 * 3], 255);  // 32,752
    EXPECT_EQ(pixels[16 * 8 * 3], 0);    // 34,799 is -30,737
    EXPECT_EQ(pixels[17 * 8 * 3], 255);  // and back
}

class DecoderFile : public testing::Test {
  protected:
    void SetUp() override {
        m_folder = std::filesystem::temp_directory_path() / ("lumato-decoder-" + std::to_string(::getpid()));
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    Path Store(const Bytes& stream) {
        const Path path = m_folder / "stream";
        EXPECT_TRUE(WriteFile(path, stream).has_value());
        return path;
    }

    Path m_folder;
    JPGEncode m_decoder;
};

TEST_F(DecoderFile, RowsArePaddedWithDecodedPixels) {
    const Bytes stream = Encode(Scene(130, 5), 90, 3);
    const Path bitmap = m_folder / "b.bmp";
    ASSERT_TRUE(m_decoder.DecodeMyPicture(Store(stream).c_str(), bitmap.c_str(), 130, 5));
    const Bytes file = *ReadFile(bitmap);
    const auto decoded = *DecodeStream(stream, 0, 0);
    ASSERT_EQ(file.size(), 54U + 5 * 392);
    EXPECT_EQ(GetLe32(ByteSpan(file).subspan(2)), file.size());
    EXPECT_EQ(GetLe32(ByteSpan(file).subspan(18)), 130U);
    EXPECT_EQ(GetLe32(ByteSpan(file).subspan(22)), 5U);
    EXPECT_EQ(GetLe32(ByteSpan(file).subspan(34)), 5U * 392);
    for (std::ptrdiff_t row = 0; row < 5; ++row) {
        const auto fileRow = file.begin() + 54 + row * 392;
        EXPECT_TRUE(std::equal(fileRow, fileRow + 392, decoded.pixels.begin() + (4 - row) * 136 * 3)) << row;
    }
}

TEST_F(DecoderFile, FailuresLeaveTheDestinationAlone) {
    const Path bitmap = m_folder / "b.bmp";
    const Bytes before{1, 2, 3};
    ASSERT_TRUE(WriteFile(bitmap, before).has_value());
    const Path source = Store(Encode(Grey(8, 8, 1), 90, 0));

    EXPECT_FALSE(m_decoder.DecodeMyPicture((m_folder / "none").c_str(), bitmap.c_str(), 0, 0));
    EXPECT_EQ(m_decoder.LastError().kind, ErrorKind::NotFound);
    EXPECT_FALSE(m_decoder.DecodeMyPicture(source.c_str(), bitmap.c_str(), 9, 8));
    EXPECT_EQ(m_decoder.LastError().kind, ErrorKind::Refused);
    Store({1, 2, 3});
    EXPECT_FALSE(m_decoder.DecodeMyPicture(source.c_str(), bitmap.c_str(), 0, 0));
    EXPECT_EQ(m_decoder.LastError().kind, ErrorKind::Damaged);
    EXPECT_NE(m_decoder.LastError().message.find(source.string()), std::string::npos);
    EXPECT_EQ(*ReadFile(bitmap), before);

    Store(Encode(Grey(8, 8, 1), 90, 0));
    EXPECT_FALSE(m_decoder.DecodeMyPicture(source.c_str(), (m_folder / "no" / "b.bmp").c_str(), 0, 0));
    EXPECT_EQ(m_decoder.LastError().kind, ErrorKind::NotFound);
    EXPECT_FALSE(m_decoder.DecodeMyPicture(source.c_str(), m_folder.c_str(), 0, 0));
    EXPECT_EQ(m_decoder.LastError().kind, ErrorKind::Unwritable);
}

}  // namespace
}  // namespace lumato::jpeg
