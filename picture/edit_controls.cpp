#include "picture/edit_controls.h"

#include <algorithm>
#include <cmath>

#include "picture/draw_my_image.h"
#include "picture/picture_state.h"

namespace lumato::picture {
namespace {

// More than any canvas; a picture of one row fitted to a large LCD would be wider than an integer counts.
constexpr float kFarthestOffset = 1'000'000;

void ShowControl(EditControl control) {
    if (EditPort* port = Pictures().port)
        port->ControlChanged(control);
}

void SetScale(MyImage& image, float scale) {
    image.scaleX = -scale;
    image.scaleY = scale;
}

// The edit picture and the LCD that it is fitted to, as the controls turn it.
struct Fitted {
    int width = static_cast<int>(Pictures().gmyCGimage->image->width);
    int height = Pictures().gmyCGimage->image->height;
    float lcdWidth = store::Store().gmyLcdWidth;
    float lcdHeight = store::Store().gmyLcdHeight;
    int degrees = Pictures().controls.rotate.Value();

    [[nodiscard]] float Whole() const { return WholeScale(width, height, lcdWidth, lcdHeight, degrees); }
    // Filling has one lower limit, however the picture is turned; all of it is seen at another scale each
    // time.
    [[nodiscard]] int SmallestValue(Fit fit) const {
        return fit == Fit::Whole ? WholePercent(Whole()) : FillPercent(width, height, lcdWidth, lcdHeight, 0);
    }
};

int FitValue() {
    const int smallest = store::Store().TheSmallestValue;
    if (Pictures().fit == Fit::Whole)
        return smallest;
    const Fitted fitted;
    return std::max(smallest, FillPercent(fitted.width, fitted.height, fitted.lcdWidth, fitted.lcdHeight,
                                          fitted.degrees));
}

// The control's value stands for whole percent, the smallest one of a picture that is seen whole for that
// scale.
float ScaleOf(int value) {
    if (Pictures().fit == Fit::Whole && value == store::Store().TheSmallestValue)
        return Fitted().Whole();
    return static_cast<float>(value) / 100;
}

bool SideTooLong(const BitmapInfo& picture, float scale) {
    const store::StoreState& store = store::Store();
    const float limit = LargestScaledSide(store.gmyLcdWidth, store.gmyLcdHeight);
    return scale * static_cast<float>(picture.width) > limit ||
           scale * static_cast<float>(picture.height) > limit;
}

void Refuse(ScaleLimit limit, int value) {
    const PictureState& state = Pictures();
    if (state.port != nullptr && !state.redrawHeld)
        state.port->ScaleRefused(limit, value);
}

// Within the limits, but a fit percentage has none. The handler runs even if the value stays.
void ScaleTo(int value) {
    PictureState& state = Pictures();
    value = std::clamp(value, store::Store().TheSmallestValue, LargestScaleNow());
    if (value == store::Store().TheSmallestValue)
        state.OldValue = 0;
    if (state.controls.scale.Value() == value)
        MyScaleArrowXHandler();
    else
        state.controls.scale.SetValue(value);
}

// A picture that is seen whole stays so in every turn.
void FollowTurn() {
    const int value = Pictures().controls.scale.Value();
    const bool wasWhole = value == store::Store().TheSmallestValue;
    const int smallest = store::Store().TheSmallestValue = Fitted().SmallestValue(Fit::Whole);
    if (wasWhole || value < smallest)
        ScaleTo(smallest);
}

}  // namespace

ArrowsControl::ArrowsControl(EditControl id, int minimum, int maximum, Handler handler)
    : m_id(id), m_minimum(minimum), m_maximum(maximum), m_handler(handler) {}

void ArrowsControl::SetValue(int value) {
    value = std::clamp(value, m_minimum, m_maximum);
    if (value == m_value)
        return;
    m_value = value;
    ShowControl(m_id);
    m_handler();
}

void ArrowsControl::SetRange(int minimum, int maximum) {
    if (minimum == m_minimum && maximum == m_maximum)
        return;
    m_minimum = minimum;
    m_maximum = maximum;
    ShowControl(m_id);
    SetValue(m_value);
}

void MyRotateArrowHandler() {
    PictureState& state = Pictures();
    if (!state.gmyCGimage)
        return;
    state.gmyCGimage->rotation = static_cast<float>(state.controls.rotate.Value() + 180);
    if (state.fit == Fit::Whole)
        FollowTurn();
    RequestRedraw();
}

void MyTranslateArrowXHandler() {
    PictureState& state = Pictures();
    if (!state.gmyCGimage)
        return;
    state.gmyCGimage->translateX = static_cast<float>(state.controls.translateX.Value());
    RequestRedraw();
}

void MyTranslateArrowYHandler() {
    PictureState& state = Pictures();
    if (!state.gmyCGimage)
        return;
    state.gmyCGimage->translateY = static_cast<float>(-state.controls.translateY.Value());
    RequestRedraw();
}

void MyScaleArrowXHandler() {
    PictureState& state = Pictures();
    if (!state.gmyCGimage)
        return;
    ArrowsControl& control = state.controls.scale;
    const store::StoreState& store = store::Store();
    const int value = control.Value();
    const bool limited = state.OldValue != 0;
    if (value < store.TheSmallestValue) {
        control.SetValue(store.TheSmallestValue);
        RequestRedraw();
        if (limited)
            Refuse(state.fit == Fit::Whole ? ScaleLimit::SeenWhole : ScaleLimit::FillsLcd,
                   store.TheSmallestValue);
        return;
    }
    if (limited && value > kLargestScaleValue) {
        control.SetValue(state.OldValue);
        Refuse(ScaleLimit::Percent, kLargestScaleValue);
        return;
    }
    MyImage& image = *state.gmyCGimage;
    SetScale(image, ScaleOf(value));
    if (limited && SideTooLong(*image.image, image.scaleY)) {
        control.SetValue(state.OldValue);
        Refuse(ScaleLimit::Side, static_cast<int>(LargestScaledSide(store.gmyLcdWidth, store.gmyLcdHeight)));
        return;
    }
    state.OldValue = value;
    SetOffsetRanges(image.scaleY * static_cast<float>(image.image->width),
                    image.scaleY * static_cast<float>(image.image->height));
    RequestRedraw();
}

void MySuitableSizeCheckBoxHandler(bool on) {
    PictureState& state = Pictures();
    state.gmySuitableSize = on;
    ShowControl(EditControl::SuitableSize);
    if (!state.gmyCGimage)
        return;
    state.controls.rotate.SetValue(0);
    state.controls.translateY.SetValue(0);
    state.controls.translateX.SetValue(0);
    state.OldValue = 0;

    store::StoreState& store = store::Store();
    // The percentage is taken from the 32-bit scale, in 32 bits: 0.58 is 58 percent then, not 57.
    const float scale = on ? static_cast<float>(store.TheSmallestValue) / 100
                           : kCanvasWidth / static_cast<float>(state.gmyCGimage->image->width);
    SetScale(*state.gmyCGimage, scale);
    state.controls.scale.SetValue(static_cast<int>(scale * 100));
    if (on && state.fit == Fit::Whole)
        ScaleTo(store.TheSmallestValue);
    store.gmyDrawrect = RestingRect(store.gmyLcdWidth, store.gmyLcdHeight);
    RequestRedraw();
}

void SetFit(Fit fit) {
    PictureState& state = Pictures();
    state.fit = fit;
    state.gmySuitableSize = true;
    ShowControl(EditControl::Fit);
    ShowControl(EditControl::SuitableSize);
    if (!state.gmyCGimage)
        return;
    store::StoreState& store = store::Store();
    store.TheSmallestValue = Fitted().SmallestValue(fit);
    state.controls.translateY.SetValue(0);
    state.controls.translateX.SetValue(0);
    ScaleTo(FitValue());
    store.gmyDrawrect = RestingRect(store.gmyLcdWidth, store.gmyLcdHeight);
    RequestRedraw();
}

void TurnPicture(int degrees) {
    PictureState& state = Pictures();
    EditControls& controls = state.controls;
    const bool filled = state.gmyCGimage && state.fit == Fit::Fill && controls.scale.Value() == FitValue() &&
                        controls.translateX.Value() == 0 && controls.translateY.Value() == 0;
    controls.rotate.SetValue((controls.rotate.Value() + degrees) % 360);
    if (filled)
        ScaleTo(FitValue());
}

void ResetPose() {
    SetFit(Fit::Fill);
    MySuitableSizeCheckBoxHandler(true);
}

float LargestScaledSide(float lcdWidth, float lcdHeight) {
    const bool larger = lcdWidth > kCanvasWidth || lcdHeight > kCanvasHeight;
    return larger ? 2 * std::max(lcdWidth, lcdHeight) : kLargestScaledSide;
}

int LargestScaleNow() {
    const BitmapInfo& picture = *Pictures().gmyCGimage->image;
    int value = kLargestScaleValue;
    while (value > store::Store().TheSmallestValue && SideTooLong(picture, static_cast<float>(value) / 100))
        --value;
    return std::max(value, store::Store().TheSmallestValue);
}

void SetOffsetRanges(float scaledWidth, float scaledHeight) {
    EditControls& controls = Pictures().controls;
    const int x = static_cast<int>(std::min(scaledWidth, kFarthestOffset));
    const int y = static_cast<int>(std::min(scaledHeight, kFarthestOffset));
    controls.translateX.SetRange(-x, x);
    controls.translateY.SetRange(-y, y);
}

void LittleArrowsControlAction(ArrowsControl& control, int part) {
    const int step = control.increment != 0 ? control.increment : 1;
    const int value = control.Value();
    if (part == kUpArrowPart)
        control.SetValue((value == control.Maximum() ? control.Minimum() - 1 : value) + step);
    else if (part == kDownArrowPart)
        control.SetValue((value == control.Minimum() ? control.Maximum() + 1 : value) - step);
}

store::Rect RestingRect(float lcdWidth, float lcdHeight) {
    return {(kCanvasWidth - lcdWidth) / 2, (kCanvasHeight - lcdHeight) / 2, lcdWidth, lcdHeight};
}

store::Rect WithTopLeftCorner(store::Rect rect) {
    rect.x += std::min(rect.width, 0.0F);
    rect.y += std::min(rect.height, 0.0F);
    return rect;
}

RectGesture PressRect(store::Rect& rect, CanvasPoint at, float lcdWidth, float lcdHeight) {
    const store::Rect area = WithTopLeftCorner(rect);
    const bool inside = at.x > area.x && at.x < area.x + std::abs(area.width) && at.y > area.y &&
                        at.y < area.y + std::abs(area.height);
    if (inside)
        return {true, {at.x - rect.x, at.y - rect.y}};
    rect = {at.x, at.y, lcdWidth, lcdHeight};
    return {};
}

void TrackRect(store::Rect& rect, const RectGesture& gesture, CanvasPoint at, float lcdWidth) {
    if (gesture.gNeedRefreshRect) {
        rect.x = std::max(at.x - gesture.gCurrentBeginPoint.x, -lcdWidth);
        rect.y = at.y - gesture.gCurrentBeginPoint.y;
    } else {
        rect.width = at.x - rect.x;
        rect.height = at.y - rect.y;
    }
}

void ReleaseRect(store::Rect& rect, RectGesture& gesture, float lcdWidth, float lcdHeight) {
    gesture.gNeedRefreshRect = false;
    rect.width = rect.width < 0 ? -lcdWidth : lcdWidth;
    rect.height = rect.height < 0 ? -lcdHeight : lcdHeight;
}

}  // namespace lumato::picture
