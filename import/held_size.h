// How large a picture may be, and how many of its pixels an import holds. Pure arithmetic.
//
// No state; callable from any thread.
#pragma once

#include <cstdint>

#include "base/size.h"
#include "import/bitmap_info.h"

namespace lumato::picture {

// No single row may grow beyond a few megabytes, and no picture may keep its user waiting for more than some
// seconds, whatever its header claims.
inline constexpr std::int64_t kMaxSide = 1'000'000;
inline constexpr std::int64_t kMaxPixels = 1'000'000'000;
inline constexpr std::int64_t kMaxHeldPixels = 64'000'000;  // 256 MB

// The size as a Size. Errors: Damaged (a side of nothing), TooLarge.
[[nodiscard]] Result<Size> CheckedSize(std::int64_t width, std::int64_t height,
                                       std::int64_t maxPixels = kMaxPixels);

// The smallest size at which a picture of this own size may be held.
[[nodiscard]] Size LeastHeld(Size own, const ScaleNeeded& scaleNeeded);

// The smallest n of 1, 2, 4 and 8 with which a decoding to n/8 (each side rounded up) gives at least `least`,
// or the largest of 1 to 7 that memory allows. libjpeg has vectors for those alone: even a whole picture
// takes less time than five eighths of it.
[[nodiscard]] int EighthsFor(Size own, Size least);

// What a picture decoded as `decoded` is divided by to be held: the largest integer that leaves `least`, or a
// larger one where memory asks for it. A picture decoded smaller than `least` is held as it is.
[[nodiscard]] int HeldDivisor(Size decoded, Size least);

}  // namespace lumato::picture
