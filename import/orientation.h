// The eight orientations of Exif, and where they put stored pixels.
//
// No state; callable from any thread.
#pragma once

#include <cstddef>

#include "base/bytes.h"
#include "import/held_size.h"

namespace lumato::picture {

// Upright for any number outside 1 to 8: cameras write 0, broken tags hold anything.
[[nodiscard]] Orientation OrientationOf(int value);

// The orientation in an Exif block ("Exif", two zeros, TIFF structure), `unsaid` when it has none, is broken
// or empty.
[[nodiscard]] Orientation ExifOrientation(ByteSpan exif, Orientation unsaid);

// Along which axes of the shown picture those of the stored one run, forwards or backwards.
struct Axes {
    bool swapped;
    bool backwardsX;  // the stored x axis runs backwards in the shown picture
    bool backwardsY;
};
[[nodiscard]] Axes AxesOf(Orientation orientation);
[[nodiscard]] bool SwapsSides(Orientation orientation);

// Where the pixels of a stored picture go: pixel (x, y) belongs at index start + x * stepX + y * stepY of the
// shown picture, whose rows carry no padding.
struct Placement {
    std::ptrdiff_t start = 0;
    std::ptrdiff_t stepX = 0;
    std::ptrdiff_t stepY = 0;
};

// For a picture stored in the given size; the shown one has its bottom row first if `flipRows`.
[[nodiscard]] Placement PlacementFor(Orientation orientation, Size stored, bool flipRows);

}  // namespace lumato::picture
