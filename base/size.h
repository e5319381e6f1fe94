// The sides of pictures. No state.
#pragma once

#include <cstdint>

namespace lumato {

struct Size {
    int width = 0;
    int height = 0;

    bool operator==(const Size&) const = default;
    [[nodiscard]] std::int64_t Pixels() const { return std::int64_t{width} * height; }
    [[nodiscard]] Size Swapped() const { return {height, width}; }
};

// With sides of so many times fewer pixels, of which the last ones may cover less than the others. Requires:
// divisor > 0.
[[nodiscard]] constexpr Size DividedUp(Size size, int divisor) {
    const auto divided = [divisor](int side) { return side / divisor + (side % divisor != 0 ? 1 : 0); };
    return {divided(size.width), divided(size.height)};
}

}  // namespace lumato
