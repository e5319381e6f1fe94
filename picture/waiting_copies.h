// Which pictures of a batch wait for a download already: a call that is repeated because its download broke
// off must not put them on the frame twice.
//
// Used by the thread that owns the store.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/bytes.h"
#include "base/sha256.h"
#include "picture/add_pictures.h"

namespace lumato::picture {

class WaitingCopies {
  public:
    // Those of the list as it stands now.
    WaitingCopies();

    // The waiting picture that has exactly the stream which these pixels (RenderLcdBitmap()) are encoded to
    // at one of the qualities that adding them may come to. Each is found once: who wants a picture twice
    // gets it twice.
    [[nodiscard]] std::optional<AddedPicture> Take(ByteSpan pixels);

  private:
    struct Copy {
        AddedPicture picture;
        Digest hash{};
    };
    [[nodiscard]] std::optional<AddedPicture> TakeStream(ByteSpan stream, int quality);

    std::vector<Copy> m_copies;
};

}  // namespace lumato::picture
