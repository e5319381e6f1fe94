// Where a download may put pictures.
#pragma once

#include <cstdint>

namespace lumato::store {

// First address behind the flash that can be written: a chip is erased in whole units, so that a part of one
// at its end never can.
[[nodiscard]] std::int32_t WritableEnd();

}  // namespace lumato::store
