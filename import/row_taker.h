// Takes the rows of a picture while it is imported, in place of memory for all of them.
//
// Called by the thread that imports, or by one at a time for it.
#pragma once

#include <cstdint>

#include "import/bitmap_info.h"

namespace lumato::picture {

// From `begin` up to `end`, without it; none where these are the same.
struct Columns {
    int begin = 0;
    int end = 0;
};

class RowTaker {
  public:
    virtual ~RowTaker() = default;

    // A picture begins, or begins anew: its sizes are in `info`, which gets no pixels.
    virtual void Begin(const BitmapInfo& info) = 0;
    // After Begin(): those of a row that are looked at. What a row has elsewhere need not be filled in.
    [[nodiscard]] virtual Columns Needed() const = 0;
    // Where the next row is to be put: info.bytesPerRow bytes in the layout of a held picture, top row first.
    // Whoever asks has completed the one before. Requires: fewer than info.heldHeight were asked for.
    [[nodiscard]] virtual std::uint8_t* NextRow() = 0;
};

}  // namespace lumato::picture
