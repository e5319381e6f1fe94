// The flash of a small sound frame with three pictures: where the targets of the store begin.
//
// No state.
#pragma once

#include <cstdint>

#include "fuzz/targets.h"

namespace lumato::fuzz {

inline constexpr std::uint32_t kFlashSize = 0x20000;
inline constexpr std::uint32_t kTable = 0x10000;
inline constexpr int kLcdWidth = 17;
inline constexpr int kLcdHeight = 9;

[[nodiscard]] Bytes SoundFlash();

}  // namespace lumato::fuzz
