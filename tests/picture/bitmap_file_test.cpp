#include "picture/bitmap_file.h"

#include <algorithm>
#include <numeric>

#include <gmock/gmock.h>

#include "tests/picture/test_folder.h"

namespace lumato::picture {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;
using testing::ElementsAreArray;

class BitmapFile : public FolderTest {
  protected:
    Bytes Save(const Bytes& pixels, int width, int height) {
        const auto result = SaveBmpFile(pixels, width, height, In("b.bmp"));
        EXPECT_TRUE(result.has_value());
        return *ReadFile(In("b.bmp"));
    }
    void Store(const Bytes& bytes) { ASSERT_TRUE(WriteFile(In("b.bmp"), bytes).has_value()); }

    // The header of a bitmap, made of its fields.
    static Bytes Header(std::uint32_t width, std::uint32_t height, std::uint8_t bitsPerPixel) {
        Bytes header(54);
        header[0] = 'B';
        header[1] = 'M';
        PutLe32(MutableByteSpan(header).subspan(18), width);
        PutLe32(MutableByteSpan(header).subspan(22), height);
        header[28] = bitsPerPixel;
        return header;
    }
    static Bytes Joined(Bytes first, const Bytes& second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }
};

Bytes Counting(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

TEST_F(BitmapFile, IsWrittenByteForByte) {
    EXPECT_THAT(Save({1, 2, 3}, 1, 1),
                ElementsAre('B', 'M', 58, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0, 40, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0,
                            0, 1, 0, 24, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            0, 0, 1, 2, 3, 0));
    const Bytes wide = Counting(130 * 2 * 3);
    const Bytes file = Save(wide, 130, 2);
    ASSERT_EQ(file.size(), 838U);
    EXPECT_TRUE(std::equal(wide.begin(), wide.begin() + 390, file.begin() + 54));
    EXPECT_EQ(file[54 + 390] | file[54 + 391], 0);
    EXPECT_TRUE(std::equal(wide.begin() + 390, wide.end(), file.begin() + 54 + 392));
    EXPECT_EQ(Save(Bytes(128 * 128 * 3), 128, 128).size(), 49206U);
    EXPECT_EQ(Save(Bytes(320 * 240 * 3), 320, 240).size(), 230454U);
}

TEST_F(BitmapFile, IsReadAsItWasWritten) {
    for (const int width : {1, 2, 3, 4, 5, 130}) {
        const Bytes pixels = Counting(static_cast<std::size_t>(width) * 3 * 3);
        const Bytes file = Save(pixels, width, 3);
        const auto loaded = LoadPicFromDir(In("b.bmp"), width, 3);
        ASSERT_TRUE(loaded.has_value());
        EXPECT_THAT(*loaded, ElementsAreArray(Bytes(file.begin() + 54, file.end()))) << width;
    }
}

TEST_F(BitmapFile, PixelsOf16BitsAreExpanded) {
    // Blue in the lowest 5 bits, red in the highest; the top bit means nothing. Rows padded to 4 bytes.
    Store(Joined(Header(3, 2, 16),
                 {0x1F, 0x00, 0xE0, 0x03, 0x00, 0xFC, 9, 9, 0x21, 0x84, 0, 0, 0xFF, 0x7F, 9, 9}));
    EXPECT_THAT(*LoadPicFromDir(In("b.bmp"), 3, 2), ElementsAre(248, 0, 0, 0, 248, 0, 0, 0, 248, 0, 0, 0,  //
                                                                8, 8, 8, 0, 0, 0, 248, 248, 248, 0, 0, 0));
}

TEST_F(BitmapFile, OtherDepthsReadAs24Bits) {
    for (const std::uint8_t depth : Bytes{0, 8, 24, 32}) {
        Store(Joined(Header(1, 1, depth), {1, 2, 3, 4}));
        EXPECT_THAT(*LoadPicFromDir(In("b.bmp"), 1, 1), ElementsAre(1, 2, 3, 4)) << depth;
    }
}

TEST_F(BitmapFile, MissingRowsAreBlackAndBytesBehindAreIgnored) {
    for (const std::uint8_t depth : Bytes{16, 24}) {
        const std::size_t rowBytes = depth == 16 ? 4 : 8;
        Store(Joined(Header(2, 3, depth), Bytes(rowBytes + 3, 0xFF)));
        const Bytes pixels = *LoadPicFromDir(In("b.bmp"), 2, 3);
        ASSERT_EQ(pixels.size(), 24U);
        EXPECT_EQ(pixels[5], depth == 16 ? 248 : 255);
        EXPECT_EQ(pixels[8], depth == 16 ? 248 : 255);  // the first pixel of the broken row is there
        EXPECT_EQ(pixels[11], depth == 16 ? 248 : 0);   // half of a pixel is there
        EXPECT_EQ(pixels[12], depth == 16 ? 7 << 3 : 0);
        EXPECT_TRUE(std::all_of(pixels.begin() + 13, pixels.end(), [](auto byte) { return byte == 0; }))
            << depth;
        Store(Header(2, 3, depth));
        EXPECT_EQ(*LoadPicFromDir(In("b.bmp"), 2, 3), Bytes(24));
        Store(Joined(Header(2, 3, depth), Bytes(1000, 0x55)));
        EXPECT_EQ(LoadPicFromDir(In("b.bmp"), 2, 3)->size(), 24U);
    }
}

TEST_F(BitmapFile, WhatIsNoSuchBitmapIsRefused) {
    const struct {
        const char* name;
        Bytes contents;
        ErrorKind kind;
    } rows[] = {
        {"empty", {}, ErrorKind::Unsupported},
        {"short", Bytes(53, 'B'), ErrorKind::Unsupported},
        {"another signature", Bytes(200, 'M'), ErrorKind::Unsupported},
        {"wider", Header(3, 2, 24), ErrorKind::Refused},
        {"higher", Header(2, 3, 24), ErrorKind::Refused},
        {"top row first", Header(2, 0xFFFFFFFE, 24), ErrorKind::Refused},
    };
    for (const auto& row : rows) {
        Store(row.contents);
        const auto result = LoadPicFromDir(In("b.bmp"), 2, 2);
        ASSERT_FALSE(result.has_value()) << row.name;
        EXPECT_EQ(result.error().kind, row.kind) << row.name;
        EXPECT_NE(result.error().message.find("b.bmp"), std::string::npos) << row.name;
    }
    EXPECT_EQ(LoadPicFromDir(In("none"), 2, 2).error().kind, ErrorKind::NotFound);
    EXPECT_EQ(LoadPicFromDir(m_folder, 2, 2).error().kind, ErrorKind::Unreadable);
    EXPECT_EQ(LoadPicFromDir(In("b.bmp"), 0, 2).error().kind, ErrorKind::Refused);
}

TEST_F(BitmapFile, FailuresToWriteAreReported) {
    EXPECT_EQ(SaveBmpFile(Bytes(3), 1, 1, In("no") / "b.bmp").error().kind, ErrorKind::NotFound);
    EXPECT_EQ(SaveBmpFile(Bytes(3), 1, 1, m_folder).error().kind, ErrorKind::Unwritable);
    EXPECT_EQ(SaveBmpFile({}, 0, 1, In("b.bmp")).error().kind, ErrorKind::TooLarge);
    EXPECT_EQ(Entries(), 0);
}

}  // namespace
}  // namespace lumato::picture
