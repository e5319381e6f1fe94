// A frame's picture as a JPEG file that every program shows.
//
// No state; callable from any thread.
#pragma once

#include <cstdint>
#include <vector>

#include "jpeg/decoder.h"

namespace lumato::backup {

// Empty where memory runs out.
[[nodiscard]] std::vector<std::uint8_t> JpegOf(const jpeg::DecodedPicture& picture);

}  // namespace lumato::backup
