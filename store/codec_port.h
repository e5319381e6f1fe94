// The decoder as read-back needs it; the picture room, which stands above, implements it.
#pragma once

#include "base/error.h"
#include "base/file.h"

namespace lumato::store {

class CodecPort {
  public:
    virtual ~CodecPort() = default;

    // Decodes the frame picture stream file `source` into the bitmap file `destination`. The picture must be
    // of the given size, 0 accepts any. True when the bitmap was written.
    virtual bool DeCode(const Path& source, const Path& destination, int width, int height) = 0;

    // Why the last call answered false: Damaged or Refused when the stream is no picture of that size, any
    // other kind when this computer was at fault (disk full, no memory).
    [[nodiscard]] virtual const Error& LastError() const = 0;
};

}  // namespace lumato::store
