// Room for a picture that does not fit: pictures of the list whose photographs are still as they were are
// made from them once more, at a lower quality, and take their own places.
//
// Used by the thread that owns the store and the edit picture, which is released.
#pragma once

#include <string>
#include <vector>

#include "base/error.h"
#include "picture/album.h"
#include "picture/pose.h"

namespace lumato::picture {

// Below it blocks begin to show on a frame's display: a worse picture is nobody's wish.
inline constexpr int kLowestQuality = 50;

struct Lowered {
    int position = 0;
    std::string name;  // as the list has it; once it is done, the new one
    int from = 0;      // qualities
    int to = 0;
    int bytes = 0;       // that it takes then
    std::string before;  // its name until then
    AlbumEntry origin{};
};

// What must be lowered so that these pixels (RenderLcdBitmap()) fit, in the place of the picture at
// `replaces` or, with 0, beside all: the pictures of the highest quality first, the largest of them first,
// each by kQualityStep, and as few as will do. Empty when they fit as it is. Errors: Refused, when nothing
// would do.
[[nodiscard]] Result<std::vector<Lowered>> PlanRoom(ByteSpan pixels, int replaces = 0);
// The same for a picture file.
[[nodiscard]] Result<std::vector<Lowered>> PlanRoomFor(const Path& file, const Pose& pose);
// Does it; each picture then waits for the download. Errors: of the first that could not be done; those
// before it have been.
[[nodiscard]] Result<void> LowerPictures(std::vector<Lowered>& plan);

// "3 pictures from quality 90 to 80, 1 from 90 to 70".
[[nodiscard]] Phrase TextOf(const std::vector<Lowered>& lowered);

}  // namespace lumato::picture
