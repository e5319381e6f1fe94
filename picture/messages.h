// The status notes of this room, and how they are shown.
//
// Any thread.
#pragma once

#include "import/messages.h"
#include "store/messages.h"

namespace lumato::picture {

inline constexpr Words kCannotRead{"CANNOT_PROCESS_TIPS", "Couldn't Process!"};
inline constexpr Words kNoRoom{"CANOT_ADD_ANY_MORE_TIPS", "Can't add anymore pictures!"};
// One key, told apart by the built-in texts.
inline constexpr Words kCannotEncode{"CANOT_PROCESS_PICS_TIPS", "Couldn't Process the picture!"};
inline constexpr Words kNoQualityFits{"CANOT_PROCESS_PICS_TIPS", "Couldn't Process the Picture!"};
inline constexpr Words kSequence{"THE_SEQUENCE_TIPS", "The sequence number:"};
// With a number each.
inline constexpr Words kBatchAdded{"BATCH_ADDED", "{} added"};
inline constexpr Words kBatchRefused{"BATCH_REFUSED", "{} refused"};
inline constexpr Words kBatchNotTried{"BATCH_NOT_TRIED", "{} not tried"};

inline constexpr Words kBeyondFramePicture{"BEYOND_FRAME_PICTURE", "too large for a frame picture"};
inline constexpr Words kNoMemoryToEncode{"NO_MEMORY_TO_ENCODE", "not enough memory to encode it"};

// The note with its reason; nothing where nobody listens.
void ShowNote(const Phrase& note, const Phrase& reason);

}  // namespace lumato::picture
