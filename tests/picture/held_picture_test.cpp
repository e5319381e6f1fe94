// What is held smaller, turned or in other colours than it is shown in: drawn, it is the picture.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <gtest/gtest.h>

#include "import/import.h"
#include "tests/picture/canvas.h"
#include "tests/support/jpeg_writer.h"
#include "tests/support/temporary_folder.h"

namespace lumato::picture {
namespace {

TEST(HeldPicture, HeldSmallerCoversTheSameArea) {
    const BitmapInfo own = Corners(1600, 1200);
    BitmapInfo held = Corners(400, 300);
    held.width = 1600;
    held.height = 1200;
    for (const float rotate : {0.0F, 90.0F, 25.0F}) {
        const Canvas expected = EditView(Posed(own, rotate, 0.11F));
        const Canvas canvas = EditView(Posed(held, rotate, 0.11F));
        int different = 0;
        for (std::size_t i = 0; i < canvas.pixels.size(); ++i)
            different += std::abs(canvas.pixels[i] - expected.pixels[i]) > 20 ? 1 : 0;
        EXPECT_LT(different, 60) << rotate;  // next to the lines between the colours only
    }
}

// A slope across and one down, whose sides are no multiple of the reduced decoding: held reduced, turned and
// converted while it is drawn or before, it is where the whole picture is, and as large.
TEST(HeldPicture, WhatIsHeldOfAFileShowsAsTheWholeFile) {
    const TemporaryFolder folder;
    Raw slopes{601, 402, 3, {}};
    for (int y = 0; y < slopes.height; ++y)
        for (int x = 0; x < slopes.width; ++x)
            slopes.pixels.insert(slopes.pixels.end(), {static_cast<std::uint8_t>(x * 255 / 600),
                                                       static_cast<std::uint8_t>(y * 255 / 401), 90});
    const auto import = [&](double scale, Held held) {
        BitmapInfo info;
        EXPECT_TRUE(CreateMyImage(
            folder / "slopes.jpg", false, [scale](int, int) { return scale; }, info, Processors::One, held));
        return info;
    };
    for (const Bytes& profile : {Bytes(), Sample("swapped.icc")})
        for (int orientation = 1; orientation <= 8; ++orientation) {
            Put(folder / "slopes.jpg", MakeJpeg(slopes, {.orientation = orientation, .profile = profile}));
            const BitmapInfo whole = import(1, Held::AsShown);
            for (const Held held : {Held::AsShown, Held::AsStored}) {
                const BitmapInfo reduced = import(0.05, held);
                ASSERT_LT(reduced.heldWidth, 77);
                for (const float degrees : {0.0F, 30.0F}) {
                    const Canvas expected = EditView(Posed(whole, degrees, 0.09F));
                    const Canvas drawn = EditView(Posed(reduced, degrees, 0.09F));
                    int most = 0;
                    for (std::size_t i = 0; i < drawn.pixels.size(); ++i)
                        most = std::max(most, std::abs(drawn.pixels[i] - expected.pixels[i]));
                    EXPECT_LE(most, degrees == 0 ? 2 : 3)
                        << "orientation " << orientation << ", turned by " << degrees;
                }
            }
        }
}

TEST(HeldPicture, ColoursOfOtherFormatsAreConvertedWhereTheyAreDrawn) {
    for (const char* name : {"swapped.heic", "swapped.webp", "swapped.png", "swapped.tif"}) {
        BitmapInfo shown, stored;
        const auto import = [&](BitmapInfo& info, Held held) {
            return CreateMyImage(SampleFile(name), false, nullptr, info, Processors::One, held).has_value();
        };
        ASSERT_TRUE(import(shown, Held::AsShown) && import(stored, Held::AsStored));
        EXPECT_NE(stored.colours, nullptr) << name;
        const Canvas expected = EditView(Posed(shown, 0, 1));
        const Canvas drawn = EditView(Posed(stored, 0, 1));
        for (std::size_t i = 0; i < drawn.pixels.size(); ++i)
            ASSERT_NEAR(drawn.pixels[i], expected.pixels[i], 2) << name;
    }
}

}  // namespace
}  // namespace lumato::picture
