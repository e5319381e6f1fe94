// PNG files (ISO/IEC 15948), written. No state; callable from any thread.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"

namespace lumato::picture {

// Of `width` x `height` pixels of red, green and blue, top row first. Requires: there are so many. Errors:
// TooLarge.
[[nodiscard]] Result<std::vector<std::uint8_t>> EncodePng(int width, int height, ByteSpan pixels);

}  // namespace lumato::picture
