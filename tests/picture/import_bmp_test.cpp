#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "picture/bitmap_file.h"
#include "picture/rv512_encoder.h"
#include "tests/picture/import_support.h"

namespace lumato::picture {
namespace {

using testing::StartsWith;

// Any bitmap file from its parts; the fields mean what they are called.
struct BmpParts {
    std::uint32_t infoSize = 40;
    int width = 2;
    int height = 2;
    int bits = 24;
    std::uint32_t compression = 0;
    std::uint32_t coloursUsed = 0;
    std::vector<std::uint32_t> masks = {};
    std::vector<Colour> palette = {};
    Bytes data = {};
    bool noOffset = false;
};

Bytes MakeBmp(const BmpParts& parts) {
    const bool core = parts.infoSize == 12;
    Bytes file(14 + parts.infoSize);
    const MutableByteSpan span(file);
    file[0] = 'B';
    file[1] = 'M';
    PutLe32(span.subspan(14), parts.infoSize);
    std::size_t at = 18;
    for (const int side : {parts.width, parts.height}) {
        core ? PutLe16(span.subspan(at), static_cast<std::uint32_t>(side))
             : PutLe32(span.subspan(at), static_cast<std::uint32_t>(side));
        at += core ? 2 : 4;
    }
    PutLe16(span.subspan(at), 1);
    PutLe16(span.subspan(at + 2), static_cast<std::uint32_t>(parts.bits));
    if (parts.infoSize >= 40) {
        PutLe32(span.subspan(30), parts.compression);
        PutLe32(span.subspan(46), parts.coloursUsed);
    }
    for (std::size_t i = 0; i < parts.masks.size(); ++i) {
        if (parts.infoSize == 40)
            file.resize(file.size() + 4);
        PutLe32(MutableByteSpan(file).subspan(54 + i * 4), parts.masks[i]);
    }
    for (const Colour& colour : parts.palette) {
        for (const std::size_t c : {2U, 1U, 0U})
            file.push_back(static_cast<std::uint8_t>(colour[c]));
        if (!core)
            file.push_back(0);
    }
    if (!parts.noOffset)
        PutLe32(MutableByteSpan(file).subspan(10), static_cast<std::uint32_t>(file.size()));
    file.insert(file.end(), parts.data.begin(), parts.data.end());
    return file;
}

class BmpImport : public ImportTest {
  protected:
    // The four pixels of a 2 x 2 picture: top left, top right, bottom left, bottom right.
    std::array<Colour, 4> Four() const {
        return {At(m_info, 0, 0), At(m_info, 1, 0), At(m_info, 0, 1), At(m_info, 1, 1)};
    }
};

const std::vector<Colour> kPalette = {kRed, kGreen, kBlue, kWhite};

// All of them show red and green above blue and white.
const struct {
    const char* name;
    BmpParts parts;
} kVariants[] = {
    {"24 bits", {.data = {255, 0, 0, 255, 255, 255, 0, 0, 0, 0, 255, 0, 255, 0, 0, 0}}},
    {"24 bits, last padding missing", {.data = {255, 0, 0, 255, 255, 255, 0, 0, 0, 0, 255, 0, 255, 0}}},
    {"top row first", {.height = -2, .data = {0, 0, 255, 0, 255, 0, 0, 0, 255, 0, 0, 255, 255, 255, 0, 0}}},
    {"OS/2, 24 bits", {.infoSize = 12, .data = {255, 0, 0, 255, 255, 255, 0, 0, 0, 0, 255, 0, 255, 0, 0, 0}}},
    {"OS/2, 8 bits", {.infoSize = 12, .bits = 8, .palette = kPalette, .data = {2, 3, 0, 0, 0, 1, 0, 0}}},
    {"OS/2, short header",
     {.infoSize = 16, .data = {255, 0, 0, 255, 255, 255, 0, 0, 0, 0, 255, 0, 255, 0, 0, 0}}},
    {"32 bits", {.bits = 32, .data = {255, 0, 0, 9, 255, 255, 255, 9, 0, 0, 255, 9, 0, 255, 0, 9}}},
    {"32 bits, masks",
     {.bits = 32,
      .compression = 3,
      .masks = {0x0000FF00, 0x00FF0000, 0xFF000000},
      .data = {0, 0, 0, 255, 0, 255, 255, 255, 9, 255, 0, 0, 9, 0, 255, 0}}},
    {"32 bits, masks in a large header",
     {.infoSize = 108,
      .bits = 32,
      .compression = 3,
      .masks = {0x0000FF00, 0x00FF0000, 0xFF000000},
      .data = {0, 0, 0, 255, 0, 255, 255, 255, 9, 255, 0, 0, 9, 0, 255, 0}}},
    {"32 bits, masks of 10 bits",
     {.bits = 32,
      .compression = 3,
      .masks = {0x3FF00000, 0x000FFC00, 0x000003FF},
      .data = {0xFF, 3, 0, 0, 0xFF, 0xFF, 0xFF, 0x3F, 0, 0, 0xF0, 0x3F, 0, 0xFC, 0x0F, 0}}},
    {"16 bits", {.bits = 16, .data = {0x1F, 0, 0xFF, 0x7F, 0, 0x7C, 0xE0, 3}}},
    {"16 bits, masks",
     {.bits = 16,
      .compression = 3,
      .masks = {0xF800, 0x07E0, 0x001F},
      .data = {0x1F, 0, 0xFF, 0xFF, 0, 0xF8, 0xE0, 7}}},
    {"8 bits, short palette",
     {.bits = 8, .coloursUsed = 4, .palette = kPalette, .data = {2, 3, 0, 0, 0, 1, 0, 0}}},
    {"8 bits, no offset",
     {.bits = 8, .coloursUsed = 4, .palette = kPalette, .data = {2, 3, 0, 0, 0, 1, 0, 0}, .noOffset = true}},
    {"4 bits", {.bits = 4, .palette = kPalette, .data = {0x23, 0, 0, 0, 0x01, 0, 0, 0}}},
    {"2 bits", {.bits = 2, .palette = kPalette, .data = {0xB0, 0, 0, 0, 0x10, 0, 0, 0}}},
    {"run lengths of 8 bits",
     {.bits = 8, .compression = 1, .palette = kPalette, .data = {1, 2, 1, 3, 0, 0, 1, 0, 1, 1, 0, 1}}},
    {"run lengths of 4 bits",
     {.bits = 4, .compression = 2, .palette = kPalette, .data = {2, 0x23, 0, 0, 2, 0x01, 0, 1}}},
    {"run lengths with a move",
     {.bits = 8,
      .compression = 1,
      .palette = kPalette,
      // Blue, white, then a move up from beyond the right end, which does not lead back: a new line does.
      .data = {1, 2, 1, 3, 0, 0, 0, 2, 1, 0, 1, 1, 0, 1}}},
};

TEST_F(BmpImport, EveryVariantToThePixel) {
    for (const auto& variant : kVariants) {
        SCOPED_TRACE(variant.name);
        const Bytes bmp = MakeBmp(variant.parts);
        ASSERT_EQ(Outcome(Read(bmp)), "fine");
        EXPECT_TRUE(IsPicture(m_file));
        EXPECT_EQ(m_info.width, 2U);
        EXPECT_EQ(m_info.height, 2);
        EXPECT_EQ(Four(), (std::array<Colour, 4>{kRed, kGreen, kBlue, kWhite}));
    }
}

TEST_F(BmpImport, OneBitPerPixel) {
    const BmpParts parts{.infoSize = 12,
                         .width = 10,
                         .height = 1,
                         .bits = 1,
                         .palette = {kRed, kBlue},
                         .data = {0x55, 0x80, 0, 0}};
    ASSERT_EQ(Outcome(Read(MakeBmp(parts))), "fine");
    for (int x = 0; x < 10; ++x)
        EXPECT_EQ(At(m_info, x, 0), (x < 8 ? x % 2 : x == 8) ? kBlue : kRed) << x;
}

TEST_F(BmpImport, RunLengthEscapes) {
    // Three literal pixels with their padding, a run over the right end, a move over a row, an early end.
    BmpParts parts{.width = 4, .height = 4, .bits = 8, .compression = 1, .palette = kPalette};
    parts.data = {0, 3, 1, 2, 3, 0, 0, 0, 9, 1, 0, 0, 0, 2, 2, 1, 1, 3, 0, 1};
    ASSERT_EQ(Outcome(Read(MakeBmp(parts))), "fine");
    const int expected[4][4] = {{0, 0, 3, 0}, {0, 0, 0, 0}, {1, 1, 1, 1}, {1, 2, 3, 0}};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(At(m_info, x, y), kPalette[static_cast<std::size_t>(expected[y][x])]) << x << ',' << y;

    parts.bits = 4;
    parts.compression = 2;
    parts.height = 1;
    parts.data = {0, 3, 0x12, 0x30, 0, 1};
    ASSERT_EQ(Outcome(Read(MakeBmp(parts))), "fine");
    EXPECT_EQ(At(m_info, 0, 0), kGreen);
    EXPECT_EQ(At(m_info, 2, 0), kWhite);
    EXPECT_EQ(At(m_info, 3, 0), kRed);
}

TEST_F(BmpImport, HeldSmallerAsNeeded) {
    BmpParts parts{.width = 400, .height = 200};
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 400; ++x)
            parts.data.insert(parts.data.end(), 3, x < 200 ? 0 : y < 100 ? 100 : 200);
    ASSERT_EQ(Outcome(Read(MakeBmp(parts), 0.05)), "fine");
    EXPECT_EQ(m_info.width, 400U);
    EXPECT_EQ(m_info.heldWidth, 40);
    EXPECT_EQ(m_info.heldHeight, 20);
    EXPECT_EQ(At(m_info, 19, 0), kBlack);
    EXPECT_EQ(At(m_info, 20, 9), (Colour{200, 200, 200}));
    EXPECT_EQ(At(m_info, 20, 10), (Colour{100, 100, 100}));
}

TEST_F(BmpImport, EveryCutIsTold) {
    for (const auto& variant : kVariants) {
        const Bytes bmp = MakeBmp(variant.parts);
        // What may be missing: the padding of the last row, or the last code of run lengths.
        const std::size_t needed = bmp.size() - 5;
        for (std::size_t size = 2; size < needed; ++size) {
            const auto result = Read(Bytes(bmp.begin(), bmp.begin() + static_cast<std::ptrdiff_t>(size)));
            EXPECT_FALSE(result.has_value()) << variant.name << " cut at " << size;
            EXPECT_TRUE(m_info.pixels.empty());
        }
    }
}

TEST_F(BmpImport, WhatCannotBeIsRefused) {
    const Bytes pixels(64);
    const struct {
        BmpParts parts;
        const char* outcome;
    } rows[] = {
        {{.width = 0, .data = pixels}, "Damaged: "},
        {{.width = -2, .data = pixels}, "Damaged: "},
        {{.height = 0, .data = pixels}, "Damaged: "},
        {{.height = std::numeric_limits<int>::min(), .data = pixels}, "TooLarge: "},
        {{.width = 65500, .height = 65500, .data = pixels}, "TooLarge: "},
        {{.width = 30000, .height = 30000, .data = pixels}, "Damaged: cut off"},
        {{.width = 30000, .height = 30000, .bits = 8, .compression = 1, .data = pixels}, "TooLarge: "},
        {{.bits = 7, .data = pixels}, "Unsupported: "},
        {{.bits = 24, .compression = 1, .data = pixels}, "Unsupported: "},
        {{.bits = 24, .compression = 4, .data = pixels}, "Unsupported: "},
        {{.height = -2, .bits = 8, .compression = 1, .data = pixels}, "Damaged: "},
    };
    for (const auto& row : rows)
        EXPECT_THAT(Outcome(Read(MakeBmp(row.parts))), StartsWith(row.outcome));
    // No colour part at all: black.
    ASSERT_EQ(Outcome(Read(MakeBmp({.bits = 32, .compression = 3, .masks = {0, 0, 0}, .data = pixels}))),
              "fine");
    EXPECT_EQ(At(m_info, 0, 0), kBlack);
}

TEST_F(BmpImport, OnlyABitmapOfTheSizeAskedForIsEncoded) {
    const Path sound = m_folder.Put("sound", MakeBmp({.width = 16, .height = 16, .data = Bytes(768)}));
    const struct {
        Path source;
        int width, height;
        ErrorKind kind;
    } rows[] = {
        {m_folder / "none", 16, 16, ErrorKind::NotFound},
        {m_folder.Get(), 16, 16, ErrorKind::Unreadable},
        {m_folder.Put("short", Bytes(53, 'B')), 16, 16, ErrorKind::Unsupported},
        {m_folder.Put("other", Bytes(200, 'M')), 16, 16, ErrorKind::Unsupported},
        {sound, 16, 17, ErrorKind::Refused},
        {sound, 15, 16, ErrorKind::Refused},
        {sound, 16, -16, ErrorKind::Refused},
        {m_folder.Put("wide", MakeBmp({.width = 65536, .height = 1, .data = Bytes(196608)})), 65536, 1,
         ErrorKind::TooLarge},
    };
    const Path stream = m_folder.Put("stream", {1, 2, 3});
    CRv512Encoder codec;
    for (const auto& row : rows) {
        EXPECT_EQ(codec.EnCode(row.source, stream, row.width, row.height, 90, 4), 0);
        EXPECT_EQ(codec.LastError().kind, row.kind) << row.source << codec.LastError().message;
    }
    EXPECT_EQ(Get(stream), (Bytes{1, 2, 3}));
    EXPECT_FALSE(codec.DeCode(m_folder / "none", m_folder / "b.bmp", 0, 0));
    EXPECT_EQ(codec.LastError().kind, ErrorKind::NotFound);
    EXPECT_EQ(SaveBmpFile(Bytes(3), 1, 1, m_folder.Get()).error().kind, ErrorKind::Unwritable);
    EXPECT_EQ(SaveBmpFile({}, 0, 1, m_folder / "b.bmp").error().kind, ErrorKind::TooLarge);
}

}  // namespace
}  // namespace lumato::picture
