// The frame's free space, counted in pictures.
//
// Used by the thread that owns the store.
#pragma once

#include <optional>

#include "base/phrase.h"

namespace lumato::store {

// How many pictures fit beside the list when they take what its pictures take on average, and the frame's
// table and limit have places for them. Nothing for an empty list, which tells nothing of pictures to come.
[[nodiscard]] std::optional<int> RoomForMore();
// "room for about 140 more like these"; empty where nothing is known.
[[nodiscard]] Phrase RoomText();
// "these 60 take about 5.1 MB, 3.9 MB are free: about 45 fit"; empty where nothing is known.
[[nodiscard]] Phrase BatchRoomText(int pictures);

}  // namespace lumato::store
