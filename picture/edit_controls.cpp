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
    const int value = control.Value();
    if (value < store::Store().TheSmallestValue) {
        control.SetValue(store::Store().TheSmallestValue);
        RequestRedraw();
        return;
    }
    const bool limited = state.OldValue != 0;
    if (limited && value > kLargestScaleValue) {
        control.SetValue(state.OldValue);
        return;
    }
    MyImage& image = *state.gmyCGimage;
    SetScale(image, static_cast<float>(value) / 100);
    const float scaledWidth = image.scaleY * static_cast<float>(image.image->width);
    const float scaledHeight = image.scaleY * static_cast<float>(image.image->height);
    if (limited && (scaledWidth > kLargestScaledSide || scaledHeight > kLargestScaledSide)) {
        control.SetValue(state.OldValue);
        return;
    }
    state.OldValue = value;
    SetOffsetRanges(scaledWidth, scaledHeight);
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
    store.gmyDrawrect = RestingRect(store.gmyLcdWidth, store.gmyLcdHeight);
    RequestRedraw();
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
