// The arrows controls, the Fit-size check box and the gestures on the LCD rectangle.
#include <vector>

#include <gtest/gtest.h>

#include "picture/coverage.h"
#include "picture/picture_state.h"
#include "picture/pose.h"
#include "picture/scale_gesture.h"

namespace lumato::picture {
namespace {

class Recorder : public EditPort {
  public:
    void ControlChanged(EditControl control) override { changed.push_back(control); }
    void RedrawEditView() override { ++redraws; }
    void ScaleRefused(ScaleLimit limit, int value) override { refused.push_back({limit, value}); }

    std::vector<EditControl> changed;
    std::vector<std::pair<ScaleLimit, int>> refused;
    int redraws = 0;
};

class EditControlsTest : public testing::Test {
  protected:
    EditControlsTest() {
        store::ResetStore();
        ResetPictures();
        Pictures().port = &m_recorder;
    }
    ~EditControlsTest() override { ResetPictures(); }

    // What selecting a picture of this size leaves behind.
    MyImage& Select(int width, int height) {
        PictureState& state = Pictures();
        state.OldValue = 0;
        state.fit = Fit::Fill;
        state.gmyCGimage.reset();
        m_controls.scale.SetValue(0);
        state.gmyCGimagebi = std::make_unique<BitmapInfo>();
        state.gmyCGimagebi->width = static_cast<std::uint32_t>(width);
        state.gmyCGimagebi->height = height;
        state.gmyCGimage = std::make_unique<MyImage>();
        state.gmyCGimage->image = state.gmyCGimagebi.get();
        store::StoreState& store = store::Store();
        const float fit = FitScale(width, height, store.gmyLcdWidth, store.gmyLcdHeight);
        store.TheSmallestValue = FitPercent(fit);
        m_controls.scale.SetValue(store.TheSmallestValue);
        SetOffsetRanges(fit * static_cast<float>(width), fit * static_cast<float>(height));
        return *state.gmyCGimage;
    }

    Recorder m_recorder;
    EditControls& m_controls = Pictures().controls;
};

TEST_F(EditControlsTest, ScaleIsKeptBetweenFitAndItsLimits) {
    const MyImage& image = Select(1600, 1200);
    EXPECT_EQ(m_controls.scale.Value(), 11);
    EXPECT_FLOAT_EQ(image.scaleX, -0.11F);
    EXPECT_FLOAT_EQ(image.scaleY, 0.11F);
    EXPECT_EQ(m_controls.translateX.Minimum(), -170);
    EXPECT_EQ(m_controls.translateX.Maximum(), 170);
    EXPECT_EQ(m_controls.translateY.Minimum(), -128);
    EXPECT_EQ(m_controls.translateY.Maximum(), 128);

    struct Step {
        int set, kept;
    };
    for (const Step step : {Step{10, 11}, Step{1000, 11}, Step{50, 50}, Step{51, 50}, Step{5000, 50},
                            Step{-7, 11}, Step{30, 30}}) {
        m_controls.scale.SetValue(step.set);
        EXPECT_EQ(m_controls.scale.Value(), step.kept) << step.set;
        EXPECT_FLOAT_EQ(image.scaleY, static_cast<float>(step.kept) / 100) << step.set;
        EXPECT_FLOAT_EQ(image.scaleX, static_cast<float>(step.kept) / -100) << step.set;
        EXPECT_EQ(Pictures().OldValue, step.kept) << step.set;
    }
    EXPECT_EQ(m_controls.translateX.Maximum(), 480);
    EXPECT_EQ(m_controls.translateY.Maximum(), 360);
    using Refused = std::pair<ScaleLimit, int>;
    EXPECT_EQ(m_recorder.refused,
              (std::vector{Refused{ScaleLimit::FillsLcd, 11}, Refused{ScaleLimit::Percent, 999},
                           Refused{ScaleLimit::Side, 800}, Refused{ScaleLimit::Percent, 999},
                           Refused{ScaleLimit::FillsLcd, 11}}));
}

TEST_F(EditControlsTest, TheLongestSideFollowsAnLcdThatIsLargerThanTheCanvas) {
    struct Row {
        float width, height;
        int largest;  // scale of a picture of 1600 x 1200
    };
    for (const Row row : {Row{580, 400, 50}, Row{581, 100, 72}, Row{100, 401, 50}, Row{800, 480, 100},
                          Row{480, 800, 100}, Row{5120, 4096, 640}}) {
        store::Store().gmyLcdWidth = row.width;
        store::Store().gmyLcdHeight = row.height;
        Select(1600, 1200);
        EXPECT_EQ(LargestScaleNow(), row.largest) << row.width;
        for (const int value : {row.largest + 1, row.largest, row.largest + 1}) {
            const int before = m_controls.scale.Value();
            m_controls.scale.SetValue(value);
            EXPECT_EQ(m_controls.scale.Value(), value > row.largest ? before : value) << row.width;
        }
    }
}

// All of the picture in the LCD and one of its sides as long as that of the LCD.
TEST_F(EditControlsTest, AWholePictureStaysWholeInEveryTurnAndComesBackFromItsPose) {
    store::Store().gmyLcdWidth = 320;
    store::Store().gmyLcdHeight = 240;
    struct Size {
        int width, height;
    };
    for (const Size size :
         {Size{1600, 1200}, Size{6001, 4000}, Size{32767, 100}, Size{20, 3}, Size{300, 900}}) {
        const MyImage& image = Select(size.width, size.height);
        const int filling = m_controls.scale.Value();
        SetFit(Fit::Whole);
        for (const int degrees : {0, 90, 33, 180, -90, 271}) {
            m_controls.rotate.SetValue(degrees);
            const double own = static_cast<double>(image.scaleY) * size.width * image.scaleY * size.height;
            EXPECT_NEAR(CoverageOf(image, store::Store().gmyDrawrect) * 320 * 240, own, own * 1e-4);
            MyImage larger = image;
            larger.scaleX *= 1.05F;
            larger.scaleY *= 1.05F;
            const double seen = CoverageOf(larger, store::Store().gmyDrawrect) * 320 * 240;
            EXPECT_TRUE(image.scaleY > 9.98F || seen < own * 1.05 * 1.05 * 0.9999) << size.width << degrees;
            const Pose pose = CurrentPose();
            const MyImage made = image;
            SetFit(Fit::Fill);
            m_controls.rotate.SetValue(0);
            ApplyPose(pose);
            EXPECT_EQ(image.scaleY, made.scaleY);
            EXPECT_EQ(CurrentPose(), pose);
        }
        m_controls.scale.SetValue(store::Store().TheSmallestValue - 1);
        EXPECT_EQ(m_controls.scale.Value(), store::Store().TheSmallestValue);
        ResetPose();
        EXPECT_TRUE(CurrentPose().IsFitted());
        EXPECT_EQ(m_controls.scale.Value(), filling);
    }
}

TEST_F(EditControlsTest, QuarterTurnsOfAFittedPictureFitItAnew) {
    store::Store().gmyLcdWidth = 320;
    store::Store().gmyLcdHeight = 240;
    Select(1600, 1200);
    for (const int percent : {27, 21, 27, 21}) {
        TurnPicture(90);
        EXPECT_EQ(m_controls.scale.Value(), percent);
        EXPECT_GE(CoverageOf(*Pictures().gmyCGimage, store::Store().gmyDrawrect), 1 - 1e-6);
    }
    m_controls.scale.SetValue(40);
    TurnPicture(-90);
    EXPECT_EQ(m_controls.scale.Value(), 40);
    EXPECT_EQ(m_controls.rotate.Value(), -90);
}

TEST_F(EditControlsTest, CoverageIsThePartOfTheRectangleThatThePictureCovers) {
    struct Row {
        float rotation, scale, x, y, width, covered;
    };
    const MyImage& image = Select(200, 100);
    for (const Row row :
         {Row{180, 1, 0, 0, 100, 1}, Row{180, 0.5F, 0, 0, 100, 0.5F}, Row{180, 1, 150, 50, -100, 0},
          Row{270, 1, 0, 25, 100, 1}, Row{270, 1, 0, 75, -100, 0.75F}, Row{180, 1, 100, 50, 100, 0.25F},
          // A square on its corner within the rectangle, and around it.
          Row{225, 0.5F, 0, 0, 100, 0.49632F}, Row{225, 3, 0, 0, 100, 1}}) {
        MyImage posed = image;
        posed.rotation = row.rotation;
        posed.scaleX = -row.scale;
        posed.scaleY = row.scale;
        posed.translateX = row.x;
        posed.translateY = row.y;
        const float left = row.width < 0 ? 340 : 240;
        EXPECT_NEAR(CoverageOf(posed, {left, 150, row.width, 100}), row.covered, 1e-4)
            << row.rotation << " " << row.x;
    }
}

TEST_F(EditControlsTest, ScalingAroundAPointKeepsItsPlaceAndBaresNothing) {
    for (const int degrees : {0, 90, 30}) {
        const MyImage& image = Select(1600, 1200);
        ApplyPose({.rotate = degrees, .scale = 30, .x = 0, .y = 0});
        const ScaleGesture from = BeginScaling();
        EXPECT_TRUE(from.covered);
        ScaleAround(from, 1.5, {300, 150});
        EXPECT_EQ(m_controls.scale.Value(), 45);
        EXPECT_NEAR(image.translateX, 10 - 10 * 1.5, 0.51);
        EXPECT_NEAR(image.translateY, -50 + 50 * 1.5, 0.51);
        // Down to the fit around a corner far away, as the wheel does it.
        for (int step = 0; step < 60; ++step) {
            ScaleAround(BeginScaling(), 1 / 1.05, {226, 136});
            const double covered = CoverageOf(image, store::Store().gmyDrawrect);
            EXPECT_TRUE(covered >= 1 - 1e-6 || degrees == 30) << degrees << " " << step;
        }
        EXPECT_LE(m_controls.scale.Value(), 12);
    }
    Select(1600, 1200);
    m_controls.rotate.SetValue(0);
    m_recorder.refused.clear();
    ScaleAround(BeginScaling(), 9, {226, 136});
    EXPECT_EQ(m_controls.scale.Value(), 50);
    EXPECT_EQ(m_recorder.refused, (std::vector{std::pair(ScaleLimit::Side, 800)}));
}

TEST_F(EditControlsTest, SmallPicturesStopAt999AndNarrowOnesFitAtTenTimes) {
    Select(64, 64);
    for (const int scale : {999, 1000}) {
        m_controls.scale.SetValue(scale);
        EXPECT_EQ(m_controls.scale.Value(), 999);
    }
    const MyImage& image = Select(10, 400);
    for (const int scale : {1000, 500}) {
        m_controls.scale.SetValue(scale);
        EXPECT_EQ(m_controls.scale.Value(), 1000);
        EXPECT_FLOAT_EQ(image.scaleY, 10.0F);
    }
}

TEST_F(EditControlsTest, ShrinkingBringsTheOffsetsIn) {
    const MyImage& image = Select(1600, 1200);
    m_controls.scale.SetValue(50);
    m_controls.translateX.SetValue(700);
    m_controls.translateY.SetValue(-999);
    EXPECT_FLOAT_EQ(image.translateX, 700);
    EXPECT_FLOAT_EQ(image.translateY, 600);
    m_controls.scale.SetValue(20);
    EXPECT_FLOAT_EQ(image.translateX, 320);
    EXPECT_FLOAT_EQ(image.translateY, 240);
}

TEST_F(EditControlsTest, TurnsAndShiftsReachThePose) {
    const MyImage& image = Select(400, 400);
    m_controls.rotate.SetValue(-90);
    m_controls.translateX.SetValue(20);
    m_controls.translateY.SetValue(20);
    EXPECT_FLOAT_EQ(image.rotation, 90);
    EXPECT_FLOAT_EQ(image.translateX, 20);
    EXPECT_FLOAT_EQ(image.translateY, -20);
    m_controls.rotate.SetValue(4000);
    EXPECT_EQ(m_controls.rotate.Value(), 3600);

    const int redraws = m_recorder.redraws;
    m_recorder.changed.clear();
    m_controls.rotate.SetValue(3600);  // no change: nobody hears of it
    EXPECT_EQ(m_recorder.redraws, redraws);
    EXPECT_TRUE(m_recorder.changed.empty());
    m_controls.rotate.SetValue(5);
    EXPECT_EQ(m_recorder.redraws, redraws + 1);
    EXPECT_EQ(m_recorder.changed, std::vector{EditControl::Rotate});
}

TEST_F(EditControlsTest, WithoutAPictureTheControlsChangeNothing) {
    store::Store().gmyDrawrect = {1, 2, 3, 4};
    m_controls.scale.SetValue(40);
    m_controls.rotate.SetValue(40);
    MySuitableSizeCheckBoxHandler(false);
    EXPECT_EQ(m_controls.scale.Value(), 40);
    EXPECT_FALSE(Pictures().gmySuitableSize);
    EXPECT_EQ(store::Store().gmyDrawrect, (store::Rect{1, 2, 3, 4}));
    EXPECT_EQ(m_recorder.redraws, 0);
}

TEST_F(EditControlsTest, UntickedBoxFillsTheCanvasWidth) {
    struct Row {
        int width, height, percent;
    };
    for (const Row row : {Row{1000, 700, 58}, Row{100, 100, 580}, Row{580, 400, 100}, Row{2000, 1500, 29},
                          Row{10, 400, 1000}, Row{8000, 200, 64}, Row{290, 100, 200}, Row{400, 4000, 145}}) {
        const MyImage& image = Select(row.width, row.height);
        m_controls.rotate.SetValue(33);
        m_controls.translateX.SetValue(12);
        store::Store().gmyDrawrect.x = 5;
        MySuitableSizeCheckBoxHandler(false);
        EXPECT_EQ(m_controls.scale.Value(), row.percent) << row.width;
        EXPECT_FLOAT_EQ(image.rotation, 180);
        EXPECT_FLOAT_EQ(image.translateX, 0);
        EXPECT_EQ(store::Store().gmyDrawrect, (store::Rect{226, 136, 128, 128}));
        MySuitableSizeCheckBoxHandler(true);
        EXPECT_EQ(m_controls.scale.Value(), store::Store().TheSmallestValue) << row.width;
    }
}

TEST_F(EditControlsTest, NoPoseIsLargerThanThePixelsThatAreHeld) {
    for (const int lcd : {128, 480, 577, 800})
        for (const int width : {30, 57, 100, 579, 580, 800, 1000, 4000})
            for (const int height : {20, 300, 5000}) {
                store::Store().gmyLcdWidth = static_cast<float>(lcd);
                const ScaleNeeded needed = LargestScale(static_cast<float>(lcd), 128);
                const MyImage& image = Select(width, height);
                float largest = image.scaleY;
                for (const bool on : {false, true, false}) {
                    MySuitableSizeCheckBoxHandler(on);
                    largest = std::max(largest, image.scaleY);
                    for (int value = 0; value <= 1000; ++value) {
                        m_controls.scale.SetValue(value);
                        largest = std::max(largest, image.scaleY);
                    }
                }
                EXPECT_LE(largest, needed(width, height) * (lcd > 580 ? 2 : 1) * 1.00001)
                    << lcd << " " << width << " " << height;
            }
}

TEST_F(EditControlsTest, ArrowsRunOnAtTheOtherEnd) {
    ArrowsControl& rotate = m_controls.rotate;
    LittleArrowsControlAction(rotate, kUpArrowPart);
    EXPECT_EQ(rotate.Value(), 1);
    LittleArrowsControlAction(rotate, 22);
    EXPECT_EQ(rotate.Value(), 1);
    rotate.SetValue(rotate.Maximum());
    LittleArrowsControlAction(rotate, kUpArrowPart);
    EXPECT_EQ(rotate.Value(), rotate.Minimum());
    LittleArrowsControlAction(rotate, kDownArrowPart);
    EXPECT_EQ(rotate.Value(), rotate.Maximum());
    rotate.increment = 90;
    LittleArrowsControlAction(rotate, kDownArrowPart);
    EXPECT_EQ(rotate.Value(), rotate.Maximum() - 90);
    rotate.increment = 0;
    LittleArrowsControlAction(rotate, kDownArrowPart);
    EXPECT_EQ(rotate.Value(), rotate.Maximum() - 91);
}

TEST_F(EditControlsTest, PosesGoThroughTheControls) {
    Select(1600, 1200);
    ApplyPose({.rotate = 90, .scale = 40, .x = 5000, .y = -20, .rect = store::Rect{-500, 30, -7, 9}});
    EXPECT_FLOAT_EQ(Pictures().gmyCGimage->rotation, 270);
    EXPECT_EQ(m_controls.scale.Value(), 40);
    EXPECT_EQ(m_controls.translateX.Value(), 640);  // the range is that of the new scale
    EXPECT_EQ(m_controls.translateY.Value(), -20);
    EXPECT_EQ(store::Store().gmyDrawrect, (store::Rect{-128, 30, -128, 128}));
    ApplyPose({.scale = 60});
    EXPECT_EQ(m_controls.scale.Value(), 40);
}

TEST(LcdRect, IsMovedFromInsideAndPlacedFromOutside) {
    store::Rect rect{100, 100, 128, 96};
    RectGesture gesture = PressRect(rect, {110, 120}, 128, 96);
    EXPECT_TRUE(gesture.gNeedRefreshRect);
    TrackRect(rect, gesture, {60, 500}, 128);
    EXPECT_EQ(rect, (store::Rect{50, 480, 128, 96}));
    TrackRect(rect, gesture, {-900, -900}, 128);
    EXPECT_EQ(rect, (store::Rect{-128, -920, 128, 96}));
    ReleaseRect(rect, gesture, 128, 96);
    EXPECT_FALSE(gesture.gNeedRefreshRect);

    gesture = PressRect(rect, {300, 200}, 128, 96);
    EXPECT_FALSE(gesture.gNeedRefreshRect);
    EXPECT_EQ(rect, (store::Rect{300, 200, 128, 96}));
    TrackRect(rect, gesture, {290, 150}, 128);
    EXPECT_EQ(rect, (store::Rect{300, 200, -10, -50}));
    ReleaseRect(rect, gesture, 128, 96);
    EXPECT_EQ(rect, (store::Rect{300, 200, -128, -96}));
    EXPECT_EQ(WithTopLeftCorner(rect), (store::Rect{172, 104, -128, -96}));

    // The area above and left of the corner is inside now; the border is not.
    EXPECT_TRUE(PressRect(rect, {180, 110}, 128, 96).gNeedRefreshRect);
    EXPECT_FALSE(PressRect(rect, {172, 110}, 128, 96).gNeedRefreshRect);
    EXPECT_EQ(rect.x, 172);
}

}  // namespace
}  // namespace lumato::picture
