// The encoder of frame picture streams: one object per picture (or per quality: the tables depend on it
// alone).
//
// All mutable state is in the object; separate ones may run on different threads.
#pragma once

#include <cstddef>

namespace lumato::jpeg {

class CVaskJpegEncoder {
  public:
    // Quality 1 to 100; 0 counts as 1 and more than 100 (compared in 16 bits) as 100.
    explicit CVaskJpegEncoder(int quality);

    // Encodes `source` (rows of blue, green, red bytes, bottom row first, each padded to a multiple of 4
    // bytes) into `destination`. `mode`: stream_format.h. Sets `outputSize` to the bytes written. False, with
    // `outputSize` as it was, for a null pointer or a size below 1. Requires: the destination holds
    // MaximumStreamSize() bytes.
    bool CompressImage(unsigned char* source, unsigned char* destination, int width, int height,
                       int& outputSize, int mode);
};

// The largest stream that a picture of this size can become, in bytes.
[[nodiscard]] std::size_t MaximumStreamSize(int width, int height, int mode);

}  // namespace lumato::jpeg
