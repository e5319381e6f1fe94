// Poses as values, and how large any pose can show a picture.
//
// Used by the thread that owns the edit picture.
#pragma once

#include <optional>

#include "picture/fit.h"
#include "picture/my_image.h"
#include "store/store_state.h"

namespace lumato::picture {

// Values of the edit controls; what is not set stays as fitted.
struct Pose {
    std::optional<int> rotate{};  // degrees, clockwise
    std::optional<int> scale{};   // percent
    std::optional<int> x{};       // canvas pixels to the right
    std::optional<int> y{};       // canvas pixels upwards
    std::optional<store::Rect> rect{};
    Fit fit = Fit::Fill;  // where scales begin

    bool operator==(const Pose&) const = default;
    [[nodiscard]] bool IsFitted() const { return *this == Pose{}; }
};

// Sets the controls as a user would after selecting the picture: the fit, rotate, scale, x, y, and the
// rectangle last.
// What the controls undo is undone. The rectangle gets the LCD's size, its sides keep their signs.
void ApplyPose(const Pose& pose);

// The picture as its selection fits it to an LCD of this size: upright, in the middle, its scale in whole
// percent. Any thread.
[[nodiscard]] MyImage FittedImage(const BitmapInfo& picture, float lcdWidth, float lcdHeight);

// The largest scale that the controls allow for a picture on an LCD of this size; half of it where the LCD is
// larger than the canvas, for whoever fits a picture should not wait for pixels that few will ask for.
[[nodiscard]] ScaleNeeded LargestScale(float lcdWidth, float lcdHeight);

}  // namespace lumato::picture
