// How often a frame's blocks needed another attempt, in its last downloads and checks: a small file for each
// frame in the folder "known" of the state folder. Losing one costs knowledge only.
//
// Used by the thread that owns the store.
#pragma once

#include "base/phrase.h"
#include "flash/checked_transfer.h"

namespace lumato::store {

// At the end of a download or check of the frame that is online; `before` is what was counted at its start.
void NoteRetries(const flash::TransferCount& before);

// What to say of that frame's link when its blocks need another attempt too often; else empty.
[[nodiscard]] Phrase LinkWarning();

}  // namespace lumato::store
