// The local working folders: "data" for bitmaps and "Edata" for streams, in the resources folder. Used by the
// thread that owns the store.
#pragma once

#include "base/error.h"
#include "base/file.h"

namespace lumato::store {

// Makes the folders where they are missing. Errors: a link or a file stands in a folder's place (nothing is
// ever written or deleted through it), or it cannot be made.
[[nodiscard]] Result<void> PrepareLocalFolders();

// The picture's name as the local bitmap bears it: one character before "DPFPicture" does not count.
[[nodiscard]] std::string BitmapName(const std::string& fileName);

// Whether files of such a name in our folders are ours to remove: pictures, and what was being written.
[[nodiscard]] bool IsOurName(const std::string& name);

}  // namespace lumato::store
