// A picture's stream made once more from its photograph, as the album says that it was made.
//
// Used by the thread that owns the store and the edit picture, which is released.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/error.h"
#include "base/sha256.h"
#include "picture/album.h"

namespace lumato::picture {

// What the photograph shows in that pose, as RenderLcdBitmap() has it. A pose other than the fitted one takes
// the edit picture's place. Errors: those of the import; TooLarge.
[[nodiscard]] Result<std::vector<std::uint8_t>> PixelsMadeAnew(const AlbumEntry& entry, int width,
                                                               int height);

// Nothing when the album does not know the stream, or the photograph gives other bytes now: it is not there,
// was changed, or this program composes otherwise than the one that added it.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> StreamMadeAnew(const Digest& hash,
                                                                      std::int32_t length);

}  // namespace lumato::picture
