// Why a file is no picture, where several readers say it.
//
// Constants; any thread.
#pragma once

#include <cstddef>

#include "base/phrase.h"
#include "reader/reasons.h"

namespace lumato::picture {

inline constexpr Words kCutOff{"CUT_OFF", "cut off: the file ends early"};
inline constexpr Words kBroken{"BROKEN", "broken: {0}"};
inline constexpr Words kDecoderStopped{"DECODER_STOPPED", "cannot be read: the decoder stopped"};
inline constexpr Words kReaderNotLoaded{"READER_NOT_LOADED",
                                        "the picture reader for this format cannot be loaded: {0}"};
inline constexpr Words kStopped{"STOPPED", "stopped"};
inline constexpr Words kProfileUnusable =
    reader::kReasons[static_cast<std::size_t>(reader::Reason::ProfileUnusable)];
inline constexpr Words kPreviewUsed = reader::kReasons[static_cast<std::size_t>(reader::Reason::PreviewUsed)];
inline constexpr Words kBeyondMemory{"BEYOND_MEMORY", "too large for this computer's memory"};

}  // namespace lumato::picture
