// The desktop's trash, after the trash specification of freedesktop.org: where files of people go that
// something of ours must take the place of.
//
// No state; callable from any thread.
#pragma once

#include "base/file.h"

namespace lumato::platform {

// Moves a file, or a link itself, to the trash of its file system: the user's own where that is the same one,
// else the one in its topmost folder. Where there is none and none can be made, it stays beside its place, as
// NAME.~1~. Never copies, never overwrites; after an error the file is where it was. Returns where it is now.
// Errors: NotFound, Unwritable.
[[nodiscard]] Result<Path> MoveToTrash(const Path& file);

}  // namespace lumato::platform
