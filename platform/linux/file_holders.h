// Which programs hold a device node or files below a folder: what to tell somebody whose device is busy.
//
// No state; callable from any thread. Programs of other users show only to root.
#pragma once

#include <string>

#include "base/file.h"
#include "base/phrase.h"

namespace lumato::platform {

// "gwenview (process 4711)", several separated by commas, each once; empty when none can be seen. Counted are
// open files, working folders and mapped files that are `target` or lie below it. `procRoot` is "/proc" but
// in tests.
[[nodiscard]] std::string FileHolders(const Path& target, const Path& procRoot = "/proc");

// "in use by gwenview (process 4711)", or "in use by another program".
[[nodiscard]] Phrase InUseBy(const Path& target, const Path& procRoot = "/proc");

// What then helps; the value is the above.
inline constexpr Words kCloseAndPlugIn{"CLOSE_AND_PLUG_IN", "{0}; close it and plug the frame in again"};

}  // namespace lumato::platform
