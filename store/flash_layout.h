// What the frame says of itself and of its pictures, for those who must know why it could not be learnt.
//
// Used by the thread that owns the store.
#pragma once

#include "base/error.h"

namespace lumato::store {

// GetInformation() (store.h): the store's geometry and what goes with it.
[[nodiscard]] Result<void> LearnGeometry();
// ReadPictureList().
[[nodiscard]] Result<void> ReadTable();

}  // namespace lumato::store
