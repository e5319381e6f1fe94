// SHA-256 (FIPS 180-4): tells whether bytes are the very bytes that they were.
//
// No state; callable from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/bytes.h"

namespace lumato {

using Digest = std::array<std::uint8_t, 32>;

[[nodiscard]] Digest Sha256(ByteSpan bytes);

// Two small hexadecimal digits for each byte.
[[nodiscard]] std::string HexText(ByteSpan bytes);

}  // namespace lumato
