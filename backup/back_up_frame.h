// A backup of the connected frame: what its list shows, what waits included.
//
// Used by the thread that owns the store.
#pragma once

#include "backup/backup_file.h"

namespace lumato::backup {

// What the connected frame is.
[[nodiscard]] BackedUpFrame PresentFrame();

struct FrameBackup {
    Backup backup;
    int unreadable = 0;  // slots of the frame's table that hold no picture: they are not in it
};

// Shows progress. Errors: a picture's local file is missing or was changed, or it cannot be read from the
// frame; TooLarge; Refused when that was asked to stop.
[[nodiscard]] Result<FrameBackup> BackUpFrame();

}  // namespace lumato::backup
