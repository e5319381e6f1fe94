// What the LCD shows of a flash whose table and pictures were laid out by hand.
#include "vframe/display.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include <gtest/gtest.h>

#include "jpeg/encoder.h"
#include "tests/vframe/frame_driver.h"
#include "vframe/new_frame.h"

namespace lumato::vframe {
namespace {

constexpr int kWidth = 20;  // not a multiple of 8: rows are padded on their way
constexpr int kHeight = 12;
constexpr std::uint32_t kTable = 0x20000;

using Rgb = std::array<int, 3>;

// A picture with `top` above `bottom`.
Bytes Stream(Rgb top, Rgb bottom, int width = kWidth, int height = kHeight) {
    Bytes source;
    for (int y = height - 1; y >= 0; --y) {
        const Rgb& color = y < height / 2 ? top : bottom;
        for (int x = 0; x < width; ++x)
            for (const int channel : {2, 1, 0})
                source.push_back(static_cast<std::uint8_t>(color[static_cast<std::size_t>(channel)]));
    }
    Bytes stream(jpeg::MaximumStreamSize(width, height, 0));
    int size = 0;
    EXPECT_TRUE(
        jpeg::CVaskJpegEncoder(100).CompressImage(source.data(), stream.data(), width, height, size, 0));
    stream.resize(static_cast<std::size_t>(size));
    return stream;
}

class Lcd : public testing::Test {
  protected:
    void SetUp() override {
        flash = MakeFlash(
                    {.lcdWidth = kWidth, .lcdHeight = kHeight, .flashSize = 0x40000, .tableAddress = kTable})
                    .value();
        std::copy_n("ABFS", 4, flash.begin() + kTable);
        flash[kTable + 4094] = 0x55;
        flash[kTable + 4095] = 0xAA;
    }
    void PutSlot(std::size_t slot, std::uint8_t status, std::uint32_t address, std::size_t length) {
        const auto at = MutableByteSpan(flash).subspan(kTable + 8 + 8 * slot, 8);
        at[0] = status;
        PutLe24(at.subspan(1), address);
        at[4] = 0;
        PutLe24(at.subspan(5), static_cast<std::uint32_t>(length));
    }
    void Store(std::size_t slot, const Bytes& stream, std::uint32_t address, std::uint8_t status = 1) {
        std::copy(stream.begin(), stream.end(), flash.begin() + address);
        PutSlot(slot, status, address, stream.size());
    }
    // The colour of the pixel, each channel rounded to the nearest of 0, 128 and 256.
    static Rgb Pixel(const Screen& screen, int x, int y) {
        Rgb color{};
        for (std::size_t i = 0; i < 3; ++i)
            color[i] = (screen.pixels[static_cast<std::size_t>(y * kWidth + x) * 3 + i] + 64) / 128 * 128;
        return color;
    }

    Bytes flash;
};

constexpr Rgb kRed{255, 0, 0};
constexpr Rgb kBlue{0, 0, 255};
constexpr Rgb kGreen{0, 255, 0};

TEST_F(Lcd, ShowsThePicturesOfTheTableInOrder) {
    Store(1, Stream(kRed, kBlue), 0x31000);
    Store(2, Stream(kGreen, kGreen), 0x22000, 2);                // not stored
    Store(3, Stream(kRed, kRed, kWidth + 1, kHeight), 0x23000);  // another size
    Store(4, Stream(kRed, kRed), kTable - 4096);                 // below the picture area
    PutSlot(5, 1, 0x3FF00, 0x101);                               // beyond the flash
    PutSlot(6, 1, 0x24000, 1000);                                // erased flash
    Store(509, Stream(kGreen, kRed), 0x30000);

    const Display display = Display::PowerOn(flash).value();
    EXPECT_EQ(display.Count(), 2U);
    const Screen first = display.Show(1).value();
    EXPECT_EQ(first.width, kWidth);
    EXPECT_EQ(first.height, kHeight);
    ASSERT_EQ(first.pixels.size(), std::size_t{kWidth} * kHeight * 3);
    EXPECT_EQ(Pixel(first, 0, 0), (Rgb{256, 0, 0}));
    EXPECT_EQ(Pixel(first, kWidth - 1, 0), (Rgb{256, 0, 0}));
    EXPECT_EQ(Pixel(first, kWidth - 1, kHeight - 1), (Rgb{0, 0, 256}));
    EXPECT_EQ(Pixel(display.Show(2).value(), 0, 0), (Rgb{0, 256, 0}));
    EXPECT_EQ(display.Show(0).error().kind, ErrorKind::NotFound);
    EXPECT_EQ(display.Show(3).error().message, "no picture at position 3: the frame has 2");
}

TEST_F(Lcd, ShowsNothingWithoutAWholeTable) {
    Store(1, Stream(kRed, kBlue), 0x31000);
    ASSERT_EQ(Display::PowerOn(flash).value().Count(), 1U);
    for (const std::uint32_t at : {kTable, kTable + 3, kTable + 4094, kTable + 4095}) {
        Bytes broken = flash;
        broken[at] ^= 1;
        EXPECT_EQ(Display::PowerOn(broken).value().Count(), 0U) << at;
    }
}

TEST_F(Lcd, FindsTheTableThroughTheFirmwareHeader) {
    Store(1, Stream(kRed, kBlue), 0x31000);
    PutLe24(MutableByteSpan(flash).subspan(32), 0x30000);  // leads astray
    const Bytes header = {'D', 'P', 'F', 'H', 0xDE, 0x00, 0x12, 0x00};
    std::copy(header.begin(), header.end(), flash.begin() + 256);
    PutLe24(MutableByteSpan(flash).subspan(0x1000 + 11), kTable - 100);
    EXPECT_EQ(Display::PowerOn(flash).value().Count(), 1U);
    flash[260] = 0xDF;
    EXPECT_EQ(Display::PowerOn(flash).value().Count(), 0U);
}

TEST_F(Lcd, StaysDarkWithoutSenseInTheInformation) {
    const struct {
        const char* what;
        std::size_t at;
        std::uint32_t value;
    } rows[] = {{"no width", 35, kHeight << 16},
                {"no table", 32, 0},
                {"odd table", 32, 0x20100},
                {"table at the end", 32, 0x40000}};
    for (const auto& row : rows) {
        Bytes broken = flash;
        PutLe24(MutableByteSpan(broken).subspan(row.at), row.value);
        EXPECT_EQ(Display::PowerOn(broken).error().kind, ErrorKind::Unsupported) << row.what;
    }
    const Bytes header = {'D', 'P', 'F', 'H', 0xDE, 0xFF, 0x01, 0x00};  // a pointer below 512
    std::copy(header.begin(), header.end(), flash.begin() + 256);
    EXPECT_FALSE(Display::PowerOn(flash));
    EXPECT_FALSE(Display::PowerOn(Bytes(4096, 0)));
}

}  // namespace
}  // namespace lumato::vframe
