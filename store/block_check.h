// What a frame gives for a block, held against what is known of the pictures in it.
//
// Used by the thread that owns the store.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"

namespace lumato::store {

// Whether the bytes read from `address` on agree with the local copies of the stored pictures that have bytes
// there. A frame that answers zeros for a block and zero for their sum passes every check of a transfer; what
// is written back then would destroy the pictures. Those without a local copy are not looked at.
[[nodiscard]] bool AgreesWithLocalCopies(std::int32_t address, ByteSpan block);
// The bytes there. Errors: Refused, where they cannot be read or do not agree.
[[nodiscard]] Result<std::vector<std::uint8_t>> ReadAgreeing(std::int32_t address, std::int32_t length);

}  // namespace lumato::store
