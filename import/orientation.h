// The eight orientations of Exif (CIPA DC-008, tag 274), applied while pixels are stored.
#pragma once

#include <cstddef>

#include "base/bytes.h"
#include "import/held_size.h"

namespace lumato::picture {

// 1 is upright; the names say what was done to the stored picture to make the shown one.
enum class Orientation {
    Upright = 1,
    MirroredAcross = 2,
    HalfTurn = 3,
    MirroredDown = 4,
    Transposed = 5,
    QuarterTurnRight = 6,
    Transversed = 7,
    QuarterTurnLeft = 8,
};

// Upright for any number outside 1 to 8: cameras write 0, broken tags hold anything.
[[nodiscard]] Orientation OrientationOf(int value);

// The orientation in an Exif block ("Exif", two zeros, TIFF structure), Upright when it has none or is
// broken.
[[nodiscard]] Orientation ExifOrientation(ByteSpan exif);

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
