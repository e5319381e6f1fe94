// Why a reader could not read a picture. Across the border go numbers; the words are the program's own.
#pragma once

#include <cstdint>
#include <iterator>

#include "base/phrase.h"

namespace lumato::reader {

enum class Reason : std::uint8_t {
    None,
    CannotStart,
    NotReadableHere,
    BeyondMemory,
    CutOff,
    Broken,
};

// By the numbers above.
inline constexpr Words kReasons[] = {
    {"", ""},
    {"READER_CANNOT_START", "the picture reader cannot start"},
    {"NOT_READABLE_HERE", "not a picture that can be read here"},
    {"BEYOND_MEMORY", "too large for this computer's memory"},
    {"CUT_OFF", "cut off: the file ends early"},
    {"BROKEN", "broken: {0}"},
};
static_assert(std::size(kReasons) == std::size_t{static_cast<std::uint8_t>(Reason::Broken)} + 1);

}  // namespace lumato::reader
