// TIFF files for libtiff, of which libvips does not tell enough. An object belongs to one thread.
#pragma once

#include <memory>

#include <tiffio.h>

namespace lumato::reader {

using TiffFile = std::unique_ptr<TIFF, void (*)(TIFF*)>;

// The file behind the descriptor, which stays the caller's, with its first directory; null where that makes
// no sense. The descriptor's position changes.
[[nodiscard]] TiffFile OpenTiff(int descriptor);

}  // namespace lumato::reader
