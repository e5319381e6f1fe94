// Why a reader could not read a picture. Across the border go numbers; the words are the program's own.
// No state.
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
    TiffColours,
    TiffSamples,
    NoPreview,
    // The picture is read all the same.
    ProfileUnusable,
    PreviewUsed,
};

// By the numbers above.
inline constexpr Words kReasons[] = {
    {"", ""},
    {"READER_CANNOT_START", "the picture reader cannot start"},
    {"NOT_READABLE_HERE", "not a picture that can be read here"},
    {"BEYOND_MEMORY", "too large for this computer's memory"},
    {"CUT_OFF", "cut off: the file ends early"},
    {"BROKEN", "broken: {0}"},
    {"TIFF_COLOURS", "a TIFF file of colours that are not supported (number {0})"},
    {"TIFF_SAMPLES", "a TIFF file whose {0}-bit samples are of a kind that is not supported"},
    {"RAW_NO_PREVIEW", "a raw photograph in which no preview was found"},
    {"PROFILE_UNUSABLE", "its colour profile cannot be used, and the usual colours are assumed"},
    {"RAW_PREVIEW_USED", "the camera's preview of this photograph is used"},
};
static_assert(std::size(kReasons) == std::size_t{static_cast<std::uint8_t>(Reason::PreviewUsed)} + 1);

// What is to be known of a picture that was read; the others say why it was not.
[[nodiscard]] constexpr bool IsNote(Reason reason) {
    return reason == Reason::ProfileUnusable || reason == Reason::PreviewUsed;
}

}  // namespace lumato::reader
