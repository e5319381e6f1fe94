// The decoder as read-back needs it; the picture room, which stands above, implements it. One call at a time.
#pragma once

#include "base/bytes.h"
#include "base/error.h"
#include "base/file.h"

namespace lumato::store {

class CodecPort {
  public:
    virtual ~CodecPort() = default;

    // Decodes the frame picture stream file `source` into the bitmap file `destination`. The picture must be
    // of the given size, 0 accepts any. True when the bitmap was written.
    virtual bool DeCode(const Path& source, const Path& destination, int width, int height) = 0;

    // The same from a stream in memory. Callable from any thread, one call at a time.
    virtual bool DeCodeStream(ByteSpan stream, const Path& destination, int width, int height) = 0;

    // Why the last of these answered false. Damaged and Refused (another size) speak of the picture;
    // everything else speaks of this computer and leaves open what the picture is.
    [[nodiscard]] virtual const Error& LastError() const = 0;
};

}  // namespace lumato::store
