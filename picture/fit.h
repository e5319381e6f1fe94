// How large a picture is shown that fills the LCD, and one that is seen whole on it, with bars.
//
// No state; callable from any thread.
#pragma once

namespace lumato::picture {

enum class Fit { Fill, Whole };

// The smallest scale at which a picture of this size covers the LCD, as a factor and in whole percent,
// rounded up and at most 1000.
[[nodiscard]] float FitScale(int width, int height, float lcdWidth, float lcdHeight);
[[nodiscard]] int FitPercent(float fit);

// The percentage that covers the LCD when the picture is turned by so many degrees.
[[nodiscard]] int FillPercent(int width, int height, float lcdWidth, float lcdHeight, int degrees);

// The largest scale at which all of the turned picture lies within the LCD, below ten times, and the value of
// the scale control that stands for it: whole percent, rounded down. Large pictures on small LCDs need the
// scale itself: between 1 and 2 percent lies a factor of two.
[[nodiscard]] float WholeScale(int width, int height, float lcdWidth, float lcdHeight, int degrees);
[[nodiscard]] int WholePercent(float whole);

}  // namespace lumato::picture
