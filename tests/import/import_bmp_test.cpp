#include <algorithm>
#include <filesystem>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/picture_files.h"

namespace lumato::picture {
namespace {

using testing::StartsWith;

// A bitmap with 40 bytes of info header and `size` zeros behind it.
Bytes Zeros(int width, int height, std::uint32_t bits = 24, std::uint32_t compression = 0,
            std::size_t size = 64) {
    Bytes file = Sample("bmp/24-bits.bmp");
    file.resize(54);
    file.resize(54 + size);
    const MutableByteSpan span(file);
    PutLe32(span.subspan(18), static_cast<std::uint32_t>(width));
    PutLe32(span.subspan(22), static_cast<std::uint32_t>(height));
    PutLe16(span.subspan(28), bits);
    PutLe32(span.subspan(30), compression);
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

// Which header, depth, coding, masks, palette or padding a file has is its name.
std::vector<Path> Variants() {
    std::vector<Path> variants;
    for (const auto& entry : std::filesystem::directory_iterator(SampleFile("bmp")))
        variants.push_back(entry.path());
    return variants;
}
bool IsFour(const Path& variant) {
    const std::string name = variant.filename();
    return !name.starts_with("escapes") && name != "one-bit.bmp";
}

TEST_F(BmpImport, EveryVariantToThePixel) {
    const std::vector<Path> variants = Variants();
    EXPECT_EQ(std::ranges::count_if(variants, IsFour), 19);
    for (const Path& variant : variants) {
        if (!IsFour(variant))
            continue;
        SCOPED_TRACE(variant);
        ASSERT_EQ(Outcome(Read(variant)), "fine");
        EXPECT_TRUE(IsPicture(variant));
        EXPECT_EQ(m_info.width, 2U);
        EXPECT_EQ(m_info.height, 2);
        EXPECT_EQ(Four(), (std::array<Colour, 4>{kRed, kGreen, kBlue, kWhite}));
    }
}

TEST_F(BmpImport, OneBitPerPixel) {
    ASSERT_EQ(Outcome(Read(SampleFile("bmp/one-bit.bmp"))), "fine");
    for (int x = 0; x < 10; ++x)
        EXPECT_EQ(At(m_info, x, 0), (x < 8 ? x % 2 : x == 8) ? kBlue : kRed) << x;
}

TEST_F(BmpImport, RunLengthEscapes) {
    // Three literal pixels with their padding, a run over the right end, a move over a row, an early end.
    ASSERT_EQ(Outcome(Read(SampleFile("bmp/escapes-of-8-bits.bmp"))), "fine");
    const int expected[4][4] = {{0, 0, 3, 0}, {0, 0, 0, 0}, {1, 1, 1, 1}, {1, 2, 3, 0}};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(At(m_info, x, y), kPalette[static_cast<std::size_t>(expected[y][x])]) << x << ',' << y;

    ASSERT_EQ(Outcome(Read(SampleFile("bmp/escapes-of-4-bits.bmp"))), "fine");
    EXPECT_EQ(At(m_info, 0, 0), kGreen);
    EXPECT_EQ(At(m_info, 2, 0), kWhite);
    EXPECT_EQ(At(m_info, 3, 0), kRed);
}

// In ninths, from the lowest row on: of the uppermost five rows are left.
TEST_F(BmpImport, HeldSmallerAsNeeded) {
    Bytes bmp = Zeros(400, 203, 24, 0, 0);
    for (int y = 0; y < 203; ++y)
        for (int x = 0; x < 400; ++x)
            bmp.insert(bmp.end(), 3, x < 200 ? 0 : y < 99 ? 100 : y < 198 ? 200 : 50);
    Put(m_file, bmp);
    constexpr int kLastRow = 22;
    for (const bool flipRows : {false, true}) {
        ASSERT_EQ(Outcome(Import(m_file, m_info, 0.05, flipRows)), "fine");
        ASSERT_EQ(std::pair(m_info.heldWidth, m_info.heldHeight), std::pair(45, kLastRow + 1));
        const auto row = [=](int y) { return flipRows ? kLastRow - y : y; };
        EXPECT_EQ(At(m_info, 21, 0), kBlack);
        EXPECT_EQ(At(m_info, 23, row(0)), (Colour{50, 50, 50}));
        EXPECT_EQ(At(m_info, 23, row(11)), (Colour{200, 200, 200}));
        EXPECT_EQ(At(m_info, 23, row(12)), (Colour{100, 100, 100}));
        EXPECT_NEAR(m_info.overhang.right, 5.0 / 9, 1e-9);
        EXPECT_NEAR(flipRows ? m_info.overhang.bottom : m_info.overhang.top, 4.0 / 9, 1e-9);
        EXPECT_EQ(m_info.overhang.left + (flipRows ? m_info.overhang.top : m_info.overhang.bottom), 0);
    }
}

TEST_F(BmpImport, EveryCutIsTold) {
    for (const Path& variant : Variants()) {
        const Bytes bmp = Get(variant);
        // What may be missing: the padding of the last row, or the last code of run lengths.
        const std::size_t needed = bmp.size() - 5;
        for (std::size_t size = 2; size < needed; ++size) {
            const auto result = Read(Bytes(bmp.begin(), bmp.begin() + static_cast<std::ptrdiff_t>(size)));
            EXPECT_FALSE(result.has_value()) << variant << " cut at " << size;
            EXPECT_TRUE(m_info.pixels.empty());
        }
    }
}

TEST_F(BmpImport, WhatCannotBeIsRefused) {
    const std::pair<Bytes, const char*> rows[] = {
        {Zeros(0, 2), "Damaged: "},
        {Zeros(-2, 2), "Damaged: "},
        {Zeros(2, 0), "Damaged: "},
        {Zeros(2, std::numeric_limits<int>::min()), "TooLarge: "},
        {Zeros(65500, 65500), "TooLarge: "},
        {Zeros(30000, 30000), "Damaged: cut off"},
        {Zeros(30000, 30000, 8, 1), "TooLarge: "},
        {Zeros(2, 2, 7), "Unsupported: "},
        {Zeros(2, 2, 24, 1), "Unsupported: "},
        {Zeros(2, 2, 24, 4), "Unsupported: "},
        {Zeros(2, -2, 8, 1), "Damaged: "},
    };
    for (const auto& [bmp, outcome] : rows)
        EXPECT_THAT(Outcome(Read(bmp)), StartsWith(outcome));
    // No colour part at all: black.
    ASSERT_EQ(Outcome(Read(Zeros(2, 2, 32, 3))), "fine");
    EXPECT_EQ(At(m_info, 0, 0), kBlack);
}

}  // namespace
}  // namespace lumato::picture
