// Puts another picture in the place of a listed one, as one change of the list.
//
// Used by the thread that owns the store.
#pragma once

#include <cstdint>
#include <memory>

#include "base/error.h"
#include "store/picture_list.h"

namespace lumato::store {

// Bytes that are free for what comes in the place of the picture at that position.
[[nodiscard]] std::int32_t FreeWithout(int position);

// The new picture, whose stream and bitmap lie in the local folders under a name of its own, waits in that
// very place afterwards, and the old one is gone from the list. It is kept before the old one is forgotten: a
// program that ends in between finds both again. Errors, with nothing changed but perhaps the order of a
// download that broke off: no such position; Refused when it does not fit; it cannot be kept.
[[nodiscard]] Result<void> ReplacePicture(int position, std::unique_ptr<FileData> picture);

}  // namespace lumato::store
