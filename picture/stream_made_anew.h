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

// The photograph in that pose, as RenderLcdBitmap() makes it for the connected frame. Errors: of the import.
[[nodiscard]] Result<std::vector<std::uint8_t>> PixelsMadeAnew(const AlbumEntry& entry);

// Nothing when the album does not know the stream, or the photograph gives other bytes now: it is not there,
// was changed, or this program composes otherwise than the one that added it.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> StreamMadeAnew(const Digest& hash,
                                                                      std::int32_t length);

}  // namespace lumato::picture
