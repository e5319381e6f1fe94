#include "store/local_room.h"

namespace lumato::store {
namespace {

// Decoding takes 6 bytes of memory for a pixel, its bitmap file 3: 126 MB, and no display of a frame has
// nearly as many.
constexpr std::int64_t kMostPixels = std::int64_t{20} << 20;
constexpr std::int64_t kBitmapBytesPerPixel = 3;

// Together below 1 GB. Streams that do not overlap take 16 MB at most, so that they are always kept; so are
// the bitmaps of as many pictures as a table describes, for a display of 1024 x 600.
constexpr std::int64_t kMostBitmapBytes = 940'000'000;
constexpr std::int64_t kMostStreamBytes = 50'000'000;

}  // namespace

LocalRoom::LocalRoom(const FrameGeometry& geometry)
    : m_pixels(std::int64_t{geometry.lcdWidth} * geometry.lcdHeight) {}

Phrase LocalRoom::WhyNoBitmap(std::int64_t streamBytes) const {
    if (m_pixels > kMostPixels)
        return Phrase("DISPLAY_TOO_LARGE",
                      "a picture for a display of so many pixels is too large to be shown here");
    if (!HasRoomFor(streamBytes) || m_bitmapBytes + m_pixels * kBitmapBytesPerPixel > kMostBitmapBytes)
        return Phrase("LOCAL_ROOM_TAKEN",
                      "the pictures before it take all the room that one frame is given on this computer");
    return {};
}

bool LocalRoom::HasRoomFor(std::int64_t streamBytes) const {
    return m_streamBytes + streamBytes <= kMostStreamBytes;
}

void LocalRoom::Take(const FileData& listed) {
    if (!listed.onlyOnFrame)
        m_streamBytes += listed.picSize;
    if (listed.whyNoBitmap.empty())
        m_bitmapBytes += m_pixels * kBitmapBytesPerPixel;
}

}  // namespace lumato::store
