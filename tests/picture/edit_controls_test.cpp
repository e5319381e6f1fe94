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

TEST_F(EditControlsTest, LimitsAreKeptAndThePoseFollows) {
    using Refused = std::pair<ScaleLimit, int>;
    constexpr int kLook = 10000;                                // sets nothing
    constexpr ArrowsControl EditControls::*kPicture = nullptr;  // selects a picture of this size
    constexpr auto kRotate = &EditControls::rotate, kScale = &EditControls::scale,
                   kX = &EditControls::translateX, kY = &EditControls::translateY;
    const struct {
        ArrowsControl EditControls::*control;
        int set, kept;
    } steps[] = {{kPicture, 1600, 1200}, {kScale, kLook, 11}, {kX, -999, -170},     {kX, 999, 170},
                 {kY, -999, -128},       {kY, 999, 128},      {kScale, 10, 11},     {kScale, 1000, 11},
                 {kScale, 50, 50},       {kScale, 51, 50},    {kScale, 5000, 50},   {kScale, -7, 11},
                 {kScale, 30, 30},       {kX, 999, 480},      {kY, -999, -360},     {kScale, 20, 20},
                 {kX, kLook, 320},       {kY, kLook, -240},   {kPicture, 64, 64},   {kScale, 999, 999},
                 {kScale, 1000, 999},    {kPicture, 10, 400}, {kScale, 1000, 1000}, {kScale, 500, 1000},
                 {kPicture, 400, 400},   {kRotate, -90, -90}, {kX, 20, 20},         {kY, 20, 20},
                 {kRotate, 4000, 3600}};
    const MyImage* image = nullptr;
    for (const auto& step : steps) {
        if (step.control == kPicture) {
            image = &Select(step.set, step.kept);
            for (const auto other : {kRotate, kX, kY})
                (m_controls.*other).SetValue(0);
            continue;
        }
        SCOPED_TRACE(testing::Message() << image->image->width << ", " << step.set);
        ArrowsControl& control = m_controls.*step.control;
        if (step.set != kLook)
            control.SetValue(step.set);
        EXPECT_EQ(control.Value(), step.kept);
        EXPECT_FLOAT_EQ(image->scaleY, static_cast<float>(m_controls.scale.Value()) / 100);
        EXPECT_FLOAT_EQ(image->scaleX, -image->scaleY);
        EXPECT_EQ(image->rotation, static_cast<float>(m_controls.rotate.Value() + 180));
        EXPECT_EQ(image->translateX, static_cast<float>(m_controls.translateX.Value()));
        EXPECT_EQ(image->translateY, static_cast<float>(-m_controls.translateY.Value()));
    }
    // The last one is brought back to above the largest percentage, too.
    EXPECT_EQ(m_recorder.refused,
              (std::vector{Refused{ScaleLimit::FillsLcd, 11}, Refused{ScaleLimit::Percent, 999},
                           Refused{ScaleLimit::Side, 800}, Refused{ScaleLimit::Percent, 999},
                           Refused{ScaleLimit::FillsLcd, 11}, Refused{ScaleLimit::Percent, 999},
                           Refused{ScaleLimit::Percent, 999}, Refused{ScaleLimit::FillsLcd, 1000}}));
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

TEST_F(EditControlsTest, NobodyHearsOfWhatChangesNothing) {
    store::Store().gmyDrawrect = {1, 2, 3, 4};
    m_controls.scale.SetValue(40);
    m_controls.rotate.SetValue(40);
    MySuitableSizeCheckBoxHandler(false);  // there is no picture yet
    EXPECT_EQ(m_controls.scale.Value(), 40);
    EXPECT_FALSE(Pictures().gmySuitableSize);
    EXPECT_EQ(store::Store().gmyDrawrect, (store::Rect{1, 2, 3, 4}));
    EXPECT_EQ(m_recorder.redraws, 0);
    Select(400, 400);
    for (const bool changes : {false, true}) {
        m_recorder.changed.clear();
        const int redraws = m_recorder.redraws;
        m_controls.rotate.SetValue(changes ? 5 : 40);
        EXPECT_EQ(m_recorder.redraws - redraws, changes ? 1 : 0);
        EXPECT_EQ(m_recorder.changed, std::vector(changes ? 1 : 0, EditControl::Rotate));
    }
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
    const struct {
        int part, increment, from, to;
    } rows[] = {{kUpArrowPart, 1, 0, 1},          {22, 1, 1, 1},
                {kUpArrowPart, 1, 3600, -3600},   {kDownArrowPart, 1, -3600, 3600},
                {kDownArrowPart, 90, 3600, 3510}, {kDownArrowPart, 0, 3510, 3509}};
    for (const auto& row : rows) {
        rotate.SetValue(row.from);
        rotate.increment = row.increment;
        LittleArrowsControlAction(rotate, row.part);
        EXPECT_EQ(rotate.Value(), row.to);
    }
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

// What the mouse cannot hit, or not exactly: the rest is in tests/app/.
TEST(LcdRect, ReachesNoFurtherThanItsWidthToTheLeftAndIsEnteredWithinItsBorder) {
    store::Rect rect{100, 100, 128, 96};
    const RectGesture gesture = PressRect(rect, {110, 120}, 128, 96);
    TrackRect(rect, gesture, {-900, -900}, 128);
    EXPECT_EQ(rect, (store::Rect{-128, -920, 128, 96}));
    rect = {300, 200, -128, -96};
    EXPECT_EQ(WithTopLeftCorner(rect), (store::Rect{172, 104, -128, -96}));
    for (const CanvasPoint inside : {CanvasPoint{173, 105}, {299, 199}})
        EXPECT_TRUE(PressRect(rect, inside, 128, 96).gNeedRefreshRect);
    for (const CanvasPoint border : {CanvasPoint{172, 110}, {300, 110}, {180, 104}, {180, 200}}) {
        store::Rect other = rect;
        EXPECT_FALSE(PressRect(other, border, 128, 96).gNeedRefreshRect);
        EXPECT_EQ(other, (store::Rect{border.x, border.y, 128, 96}));
    }
}

}  // namespace
}  // namespace lumato::picture
