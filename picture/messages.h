// The status notes of this room, and how they are shown.
#pragma once

#include <string>
#include <string_view>

#include "store/messages.h"

namespace lumato::picture {

using store::Message;

inline constexpr Message kCannotRead{"CANNOT_PROCESS_TIPS", "Couldn't Process!"};
inline constexpr Message kNoRoom{"CANOT_ADD_ANY_MORE_TIPS", "Can't add anymore pictures!"};
// One key, told apart by the built-in texts.
inline constexpr Message kCannotEncode{"CANOT_PROCESS_PICS_TIPS", "Couldn't Process the picture!"};
inline constexpr Message kNoQualityFits{"CANOT_PROCESS_PICS_TIPS", "Couldn't Process the Picture!"};
inline constexpr Message kSequence{"THE_SEQUENCE_TIPS", "The sequence number:"};
// With a number each.
inline constexpr Message kBatchAdded{"BATCH_ADDED", "{} added"};
inline constexpr Message kBatchRefused{"BATCH_REFUSED", "{} refused"};
inline constexpr Message kBatchNotTried{"BATCH_NOT_TRIED", "{} not tried"};

// In the user's language.
[[nodiscard]] std::string TextOf(const Message& message);

// The note with its reason; nothing where nobody listens.
void ShowNote(const Message& message, std::string_view reason);

}  // namespace lumato::picture
