// How much a connection takes of this computer, whatever a frame claims: slots that share a stream, and a
// display of any size, cost the frame nothing.
//
// One object for each list; used by the thread that owns the store.
#pragma once

#include <cstdint>
#include <string>

#include "store/frame_geometry.h"
#include "store/picture_list.h"

namespace lumato::store {

class LocalRoom {
  public:
    explicit LocalRoom(const FrameGeometry& geometry);

    // Whether a stream of so many bytes may be kept as a file.
    [[nodiscard]] bool HasRoomFor(std::int64_t streamBytes) const;
    // Why no bitmap is to be made of it; empty: it may.
    [[nodiscard]] Phrase WhyNoBitmap(std::int64_t streamBytes) const;

    // What a listed picture takes.
    void Take(const FileData& listed);

  private:
    const std::int64_t m_pixels;
    std::int64_t m_bitmapBytes = 0;
    std::int64_t m_streamBytes = 0;
};

}  // namespace lumato::store
