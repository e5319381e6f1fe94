// Reading the pictures of the table back, for those who know more of them than the table says.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/bytes.h"

namespace lumato::store {

// Whether the bytes read for table slot `slot` (from 1) are those of its picture; if not, the slot is
// cleared.
using StreamCheck = std::function<bool(int slot, ByteSpan stream)>;

// A picture's bytes. Requires: they lie inside the flash.
bool ReadPictureBytes(std::int32_t address, std::int32_t length, std::vector<std::uint8_t>& stream);

// ReadPicFromFlash() (store.h), which takes any bytes that decode.
bool ReadPicFromFlash(const StreamCheck& check);

}  // namespace lumato::store
