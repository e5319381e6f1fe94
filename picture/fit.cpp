#include "picture/fit.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumato::picture {
namespace {

constexpr float kLargestWholeScale = 9.99F;

struct Sides {
    float width = 0, height = 0;
};

// The upright box around a rectangle of this size that is turned. Exact at quarter turns.
Sides BoxAround(float width, float height, int degrees) {
    if (degrees % 180 == 0)
        return {width, height};
    if (degrees % 90 == 0)
        return {height, width};
    const double angle = degrees * std::numbers::pi / 180;
    const auto cosine = static_cast<float>(std::abs(std::cos(angle)));
    const auto sine = static_cast<float>(std::abs(std::sin(angle)));
    return {width * cosine + height * sine, width * sine + height * cosine};
}

}  // namespace

float FitScale(int width, int height, float lcdWidth, float lcdHeight) {
    return std::max(lcdWidth / static_cast<float>(width), lcdHeight / static_cast<float>(height));
}

int FitPercent(float fit) {
    return static_cast<int>(std::min(static_cast<double>(fit) * 100 + 1.0, 1000.0));
}

// Seen from the picture, it is the LCD that is turned.
int FillPercent(int width, int height, float lcdWidth, float lcdHeight, int degrees) {
    const Sides lcd = BoxAround(lcdWidth, lcdHeight, degrees);
    return FitPercent(FitScale(width, height, lcd.width, lcd.height));
}

float WholeScale(int width, int height, float lcdWidth, float lcdHeight, int degrees) {
    const Sides box = BoxAround(static_cast<float>(width), static_cast<float>(height), degrees);
    return std::min({lcdWidth / box.width, lcdHeight / box.height, kLargestWholeScale});
}

int WholePercent(float whole) {
    return std::max(static_cast<int>(whole * 100), 1);
}

}  // namespace lumato::picture
