#include "picture/pose.h"

#include <algorithm>

#include "picture/draw_my_image.h"
#include "picture/picture_state.h"

namespace lumato::picture {
namespace {

store::Rect RectOfLcdSize(const store::Rect& wanted, float lcdWidth, float lcdHeight) {
    store::Rect rect = wanted;
    rect.x = std::max(rect.x, -lcdWidth);
    RectGesture gesture;
    ReleaseRect(rect, gesture, lcdWidth, lcdHeight);
    return rect;
}

double LargestScaleFor(int width, int height, float lcdWidth, float lcdHeight) {
    const int fit = FitPercent(FitScale(width, height, lcdWidth, lcdHeight));
    const float fillsCanvas = kCanvasWidth / static_cast<float>(width);
    // Where filling the canvas comes to the fit percentage itself, the scale control does not change, and the
    // value that is set next is not limited.
    if (static_cast<int>(std::min(fillsCanvas * 100, 1000.0F)) == fit)
        return std::max(10.0, static_cast<double>(fillsCanvas));
    // On an LCD larger than the canvas poses go up to twice its fit, and show what is held one for one.
    const double largestSet = std::min(kLargestScaleValue / 100.0,
                                       static_cast<double>(kLargestScaledSide) / std::max(width, height));
    return std::max({fit / 100.0, static_cast<double>(fillsCanvas), largestSet});
}

}  // namespace

MyImage FittedImage(const BitmapInfo& picture, float lcdWidth, float lcdHeight) {
    const float fit = FitScale(static_cast<int>(picture.width), picture.height, lcdWidth, lcdHeight);
    const float scale = static_cast<float>(FitPercent(fit)) / 100;
    return {.scaleX = -scale, .scaleY = scale, .image = &picture};
}

ScaleNeeded LargestScale(float lcdWidth, float lcdHeight) {
    return [=](int width, int height) { return LargestScaleFor(width, height, lcdWidth, lcdHeight); };
}

void ApplyPose(const Pose& pose) {
    EditControls& controls = Pictures().controls;
    if (pose.fit != Pictures().fit)
        SetFit(pose.fit);
    if (pose.rotate)
        controls.rotate.SetValue(*pose.rotate);
    if (pose.scale)
        controls.scale.SetValue(*pose.scale);
    if (pose.x)
        controls.translateX.SetValue(*pose.x);
    if (pose.y)
        controls.translateY.SetValue(*pose.y);
    store::StoreState& store = store::Store();
    if (pose.rect)
        store.gmyDrawrect = RectOfLcdSize(*pose.rect, store.gmyLcdWidth, store.gmyLcdHeight);
}

}  // namespace lumato::picture
