// What the composer puts where, and how: geometry on small known pictures, exactness and coverage.
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "jpeg/codec_form.h"
#include "picture/picture_levels.h"
#include "tests/picture/canvas.h"

namespace lumato::picture {
namespace {

BitmapInfo Grain(int width, int height) {
    return MakePicture(width, height, [](int x, int y) {
        const auto mixed = static_cast<unsigned>(x * 7919 + y * 104729) * 2654435761U;
        return Colour{static_cast<int>(mixed >> 8 & 255), static_cast<int>(mixed >> 16 & 255),
                      static_cast<int>(mixed >> 24)};
    });
}

Canvas LcdBitmap(const MyImage& image, float x, float y, float w, float h) {
    Canvas canvas(static_cast<int>(std::abs(w)), static_cast<int>(std::abs(h)), RowOrder::BottomFirst);
    DrawMyImage(canvas.surface, x, y, w, h, &image, false);
    return canvas;
}

struct Corner {
    Colour topLeft, topRight, bottomLeft, bottomRight;
};

// The colours halfway between the centre (290 + x, 200 - y) and the corners of a picture of 80 x 40, or of
// 40 x 80 when it lies on its side.
void ExpectCorners(const Canvas& canvas, int x, int y, bool onItsSide, const Corner& expected) {
    const int dx = onItsSide ? 10 : 20;
    const int dy = onItsSide ? 20 : 10;
    EXPECT_EQ(canvas.See(290 + x - dx, 200 - y - dy), expected.topLeft);
    EXPECT_EQ(canvas.See(290 + x + dx, 200 - y - dy), expected.topRight);
    EXPECT_EQ(canvas.See(290 + x - dx, 200 - y + dy), expected.bottomLeft);
    EXPECT_EQ(canvas.See(290 + x + dx, 200 - y + dy), expected.bottomRight);
    EXPECT_EQ(canvas.See(290 + x - 2 * dx - 1, 200 - y), kBlack);
    EXPECT_EQ(canvas.See(290 + x, 200 - y + 2 * dy), kBlack);
}

TEST(DrawMyImage, TurnsClockwiseAndShiftsRightAndUp) {
    const BitmapInfo info = Corners(80, 40);
    const Corner upright{kRed, kGreen, kBlue, kWhite};
    const Corner clockwise{kBlue, kRed, kWhite, kGreen};
    const Corner upsideDown{kWhite, kBlue, kGreen, kRed};
    const Corner counterClockwise{kGreen, kWhite, kRed, kBlue};
    ExpectCorners(EditView(Posed(info, 0, 1)), 0, 0, false, upright);
    ExpectCorners(EditView(Posed(info, 90, 1)), 0, 0, true, clockwise);
    ExpectCorners(EditView(Posed(info, 180, 1)), 0, 0, false, upsideDown);
    ExpectCorners(EditView(Posed(info, 270, 1)), 0, 0, true, counterClockwise);
    ExpectCorners(EditView(Posed(info, -90, 1)), 0, 0, true, counterClockwise);
    ExpectCorners(EditView(Posed(info, -3600, 1)), 0, 0, false, upright);
    ExpectCorners(EditView(Posed(info, 0, 1, 20, 0)), 20, 0, false, upright);
    ExpectCorners(EditView(Posed(info, 0, 1, 0, 30)), 0, 30, false, upright);
    ExpectCorners(EditView(Posed(info, 90, 1, -50, -60)), -50, -60, true, clockwise);
}

TEST(DrawMyImage, NegativeScalesMirror) {
    const BitmapInfo info = Corners(80, 40);
    MyImage image = Posed(info, 0, 1);
    image.scaleX = 1;
    ExpectCorners(EditView(image), 0, 0, false, {kGreen, kRed, kWhite, kBlue});
    image.scaleX = -1;
    image.scaleY = -1;
    ExpectCorners(EditView(image), 0, 0, false, {kBlue, kWhite, kRed, kGreen});
}

TEST(DrawMyImage, LcdBitmapHoldsTheCanvasAreaBottomRowFirst) {
    const BitmapInfo info = Grain(300, 200);
    for (const float rotate : {0.0F, 90.0F, 37.0F}) {
        const MyImage image = Posed(info, rotate, 1, 11, -7);
        const Canvas whole = EditView(image);
        for (const auto& [x, y, w, h] :
             {std::array{226.0F, 136.0F, 128.0F, 128.0F}, std::array{100.0F, 250.0F, -130.0F, 50.0F},
              std::array{-60.0F, -20.0F, 128.0F, -96.0F}}) {
            const Canvas lcd = LcdBitmap(image, x, y, w, h);
            int wrong = 0;
            for (int row = 0; row < lcd.height; ++row)
                for (int column = 0; column < lcd.width; ++column) {
                    const int cx = static_cast<int>(x) + column;
                    const int cy = static_cast<int>(y) + row;
                    const bool on = cx >= 0 && cy >= 0 && cx < 580 && cy < 400;
                    const Colour seen = lcd.See(column, row);
                    const Colour expected = on ? whole.See(cx, cy) : seen;
                    for (std::size_t c = 0; c < 3; ++c)
                        wrong += std::abs(seen[c] - expected[c]) > 1 ? 1 : 0;
                }
            EXPECT_EQ(wrong, 0) << rotate << " " << x << " " << y;
        }
    }
}

TEST(DrawMyImage, PixelForPixelIsExact) {
    const BitmapInfo info = Grain(128, 96);
    const Canvas straight = LcdBitmap(Posed(info, 0, 1), 226, 152, 128, 96);
    const Canvas turned = LcdBitmap(Posed(info, 90, 1, 3, 5), 242 + 3, 136 - 5, 96, 128);
    for (int y = 0; y < 96; ++y)
        for (int x = 0; x < 128; ++x) {
            const std::uint8_t* p = &info.pixels[static_cast<std::size_t>(y * 128 + x) * 4];
            const Colour colour{p[1], p[2], p[3]};
            ASSERT_EQ(straight.See(x, y), colour) << x << " " << y;
            ASSERT_EQ(turned.See(95 - y, x), colour) << x << " " << y;
        }
}

TEST(DrawMyImage, TurnsThatNobodySeesChangeNothing) {
    const BitmapInfo info = Grain(128, 128);
    const Canvas upright = LcdBitmap(Posed(info, 0, 1), 226, 136, 128, 128);
    for (const float rotate : {0.0001F, -0.0001F, 360.0F, -720.0F, 3600.0F})
        EXPECT_EQ(LcdBitmap(Posed(info, rotate, 1), 226, 136, 128, 128).pixels, upright.pixels) << rotate;
}

TEST(DrawMyImage, EdgesBlendTowardsBlackByTheCoveredShare) {
    const BitmapInfo info = MakePicture(51, 33, [](int, int) { return Colour{200, 100, 40}; });
    const Canvas canvas = EditView(Posed(info, 0, 0.5));  // 264.5+12.75: x 277.25..302.75, y 191.75..208.25
    EXPECT_EQ(canvas.See(290, 200), (Colour{200, 100, 40}));
    EXPECT_EQ(canvas.See(278, 192), (Colour{200, 100, 40}));
    EXPECT_EQ(canvas.See(277, 200), (Colour{150, 75, 30}));
    EXPECT_EQ(canvas.See(302, 200), (Colour{150, 75, 30}));
    EXPECT_EQ(canvas.See(290, 191), (Colour{50, 25, 10}));
    EXPECT_EQ(canvas.See(277, 191), (Colour{38, 19, 8}));
    EXPECT_EQ(canvas.See(276, 200), kBlack);
    EXPECT_EQ(canvas.Alpha(277, 200), 191);
    EXPECT_EQ(canvas.Alpha(290, 200), 255);
}

TEST(DrawMyImage, TurnedCoverageAddsUpToThePictureArea) {
    const BitmapInfo info = MakePicture(101, 67, [](int, int) { return kWhite; });
    for (const auto& [rotate, scale] :
         {std::pair{45.0F, 1.0F}, std::pair{-13.0F, 1.3F}, std::pair{7.0F, 0.02F}, std::pair{133.0F, 0.4F}}) {
        const Canvas canvas = EditView(Posed(info, rotate, scale));
        double area = 0;
        int grey = 0;
        for (int y = 0; y < 400; ++y)
            for (int x = 0; x < 580; ++x) {
                area += canvas.See(x, y)[0] / 255.0;
                grey += canvas.See(x, y)[0] != canvas.Alpha(x, y) ? 1 : 0;
            }
        const double exact = 101.0 * 67.0 * scale * scale;
        EXPECT_NEAR(area, exact, 0.002 * exact + 0.1) << rotate;
        EXPECT_EQ(grey, 0) << "the white picture darkens next to its edge";
    }
}

TEST(DrawMyImage, FlatPicturesStayFlatAtEveryScale) {
    const BitmapInfo info = MakePicture(700, 500, [](int, int) { return Colour{255, 128, 3}; });
    for (const float rotate : {0.0F, 90.0F, 30.0F})
        for (const float scale : {10.0F, 3.3F, 1.0F, 0.77F, 0.2F, 0.011F}) {
            const Canvas canvas = EditView(Posed(info, rotate, scale, 1, 2));
            EXPECT_EQ(canvas.See(291, 198), (Colour{255, 128, 3})) << rotate << " " << scale;
        }
}

TEST(DrawMyImage, EnlargingRingsNoMoreThanACubic) {
    const BitmapInfo step = MakePicture(20, 20, [](int x, int) {
        return x < 10 ? Colour{50, 50, 50} : Colour{150, 150, 150};
    });
    const Canvas canvas = EditView(Posed(step, 0, 10));
    int low = 255;
    int high = 0;
    int before = 0;
    for (int x = 230; x < 350; ++x) {
        const int value = canvas.See(x, 200)[0];
        low = std::min(low, value);
        high = std::max(high, value);
        EXPECT_TRUE(x <= 286 || x >= 294 || value >= before) << x;
        before = value;
    }
    EXPECT_GE(low, 50 - 8);
    EXPECT_LE(high, 150 + 8);
}

// Waves along x, or from corner to corner, `cycles` per pixel of the picture reduced to 1/`reduction`; how
// much of their amplitude is left.
double AmplitudeLeft(int reduction, double cycles, float rotate, bool diagonal = false) {
    constexpr double kPi = 3.14159265358979;
    const int side = 128 * reduction;
    const double step = 2 * kPi * cycles / reduction / (diagonal ? std::sqrt(2) : 1);
    std::vector<int> wave;
    for (int x = 0; x < 2 * side; ++x)
        wave.push_back(static_cast<int>(std::lround(127.5 + 100 * std::sin(step * x))));
    const BitmapInfo info = MakePicture(side, side, [&](int x, int y) {
        const int value = wave[static_cast<std::size_t>(diagonal ? x + y : x)];
        return Colour{value, value, value};
    });
    const Canvas lcd = LcdBitmap(Posed(info, rotate, 1.0F / static_cast<float>(reduction)), 250, 160, 80, 80);
    double squares = 0;
    for (int y = 0; y < 80; ++y)
        for (int x = 0; x < 80; ++x)
            squares += std::pow(lcd.See(x, y)[0] - 127.5, 2);
    return std::sqrt(2 * squares / 6400) / 100;
}

TEST(DrawMyImage, ReducingKeepsWhatFitsAndDropsWhatDoesNot) {
    for (const int reduction : {5, 12})
        for (const float rotate : {0.0F, 90.0F, 30.0F, 45.0F}) {
            EXPECT_GT(AmplitudeLeft(reduction, 0.125, rotate), 0.93) << reduction << " " << rotate;
            for (const double cycles : {1.1, 1.37, 2.13})
                EXPECT_LT(AmplitudeLeft(reduction, cycles, rotate),
                          0.032)  // the largest side lobe; an area filter leaves 0.2
                    << reduction << " " << cycles << " " << rotate;
        }
    // Along the rows of what is shown, which do not carry it.
    EXPECT_LT(AmplitudeLeft(5, 0.7, 45, true), 0.23);
    EXPECT_GT(AmplitudeLeft(5, 0.25, 45, true), 0.93);
}

TEST(DrawMyImage, DenseScreensShowTheSamePictureFiner) {
    const BitmapInfo info = Corners(80, 40);
    const Canvas canvas = EditView(Posed(info, 90, 1, 10, 20), 2);
    EXPECT_EQ(canvas.See(2 * (290 + 10 - 10), 2 * (200 - 20 - 20)), kBlue);
    EXPECT_EQ(canvas.See(2 * (290 + 10 + 10), 2 * (200 - 20 - 20)), kRed);
    EXPECT_EQ(canvas.See(2 * (290 + 10 - 20), 2 * (200 - 20) - 20), kBlue);
    EXPECT_EQ(canvas.See(2 * (290 + 10 - 20) - 1, 2 * (200 - 20) - 20), kBlack);
}

TEST(DrawMyImage, WindowsGetTheirPixelOrder) {
    const BitmapInfo info = MakePicture(10, 10, [](int, int) { return Colour{1, 2, 3}; });
    const MyImage image = Posed(info, 0, 1);
    Canvas canvas(580, 400, RowOrder::TopFirst, PixelOrder::BlueFirst);
    DrawMyImage(canvas.surface, 0, 0, 580, 400, &image, true);
    const std::uint8_t* pixel = canvas.surface.At(290, 200);
    EXPECT_EQ((std::array{pixel[0], pixel[1], pixel[2], pixel[3]}),
              (std::array<std::uint8_t, 4>{3, 2, 1, 255}));
}

TEST(DrawMyImage, OddPosesDrawNothingOrStayInside) {
    const BitmapInfo info = Grain(64, 48);
    const BitmapInfo empty;
    const std::vector<std::uint8_t> black(std::size_t{580} * 400 * 4, 0);
    MyImage none = Posed(info, 0, 1);
    none.image = nullptr;
    EXPECT_EQ(EditView(none).pixels, black);
    EXPECT_EQ(EditView(Posed(empty, 0, 1)).pixels, black);
    EXPECT_EQ(EditView(Posed(info, 0, 0)).pixels, black);
    EXPECT_EQ(EditView(Posed(info, 30, 0)).pixels, black);
    EXPECT_EQ(EditView(Posed(info, 0, std::nanf(""))).pixels, black);
    EXPECT_EQ(EditView(Posed(info, 12, 1, 5000, 0)).pixels, black);
    for (const float scale : {1e-30F, 1e-6F, 1e-3F, 1e6F, 1e30F})
        for (const float rotate : {0.0F, 90.0F, 45.0F})
            EditView(Posed(info, rotate, scale, 3, 4));  // sanitizers judge
}

TEST(DrawMyImage, GivesUpWhatIsNoLongerWanted) {
    const BitmapInfo info = Corners(80, 40);
    for (const float rotate : {0.0F, 90.0F, 33.0F}) {
        const MyImage image = Posed(info, rotate, 20);
        Canvas canvas(580, 100, RowOrder::TopFirst);  // too few rows for more than one thread
        int asked = 0;
        DrawMyImage(canvas.surface, 0, 0, 580, 400, &image, true, [&] { return ++asked < 3; });
        EXPECT_EQ(asked, 3);
        const std::vector<std::uint8_t>& pixels = canvas.pixels;
        EXPECT_GT(std::ranges::count(pixels, 255), 0) << rotate;
        EXPECT_GT(std::ranges::count(pixels, 0), 580 * 30 * 4) << rotate;
    }
}

// A picture that is odd everywhere, in poses that are drawn from its pixels and from its levels.
std::vector<MyImage> ManyPoses(const BitmapInfo& info) {
    std::vector<MyImage> poses;
    for (const float rotate : {0.0F, 90.0F, 33.0F, -101.5F})
        for (const float scale : {0.031F, 0.24F, 0.36F, 0.7F, 1.0F, 1.9F})
            poses.push_back(Posed(info, rotate, scale, 3.3F, -40));
    return poses;
}

std::vector<std::vector<std::uint8_t>> DrawAll(const std::vector<MyImage>& poses) {
    std::vector<std::vector<std::uint8_t>> drawn;
    for (const MyImage& pose : poses)
        drawn.push_back(EditView(pose).pixels);
    return drawn;
}

TEST(DrawMyImage, GivesTheSameBytesInEveryVectorWidth) {
    const BitmapInfo info = Grain(801, 603);
    ASSERT_TRUE(jpeg::UseCodecForm("plain"));
    const auto plain = DrawAll(ManyPoses(info));
    for (const std::string& form : jpeg::CodecForms()) {
        ASSERT_TRUE(jpeg::UseCodecForm(form));
        const auto drawn = DrawAll(ManyPoses(info));
        for (std::size_t i = 0; i < plain.size(); ++i)
            EXPECT_TRUE(drawn[i] == plain[i]) << form << ", pose " << i;
    }
    jpeg::UseCodecForm("");
}

TEST(DrawMyImage, GivesTheSameBytesWhateverWasDrawnBefore) {
    const BitmapInfo info = Grain(801, 603);
    std::vector<MyImage> poses = ManyPoses(info);
    const auto expected = DrawAll(poses);  // each with levels of its own
    const auto levels = std::make_shared<PictureLevels>(info);
    for (MyImage& pose : poses)
        pose.levels = levels;
    std::vector<std::vector<std::uint8_t>> beside;
    std::thread other([&] { beside = DrawAll(poses); });  // who comes first makes a level
    const auto drawn = DrawAll(poses);
    other.join();
    EXPECT_TRUE(drawn == expected);
    EXPECT_TRUE(beside == expected);
}

}  // namespace
}  // namespace lumato::picture
