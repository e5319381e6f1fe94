// The kernel's table of mounts.
//
// No state; callable from any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/file.h"

namespace lumato::platform {

struct Mount {
    std::string source;  // "/dev/sdb1"
    Path root;           // where it is mounted
    std::string fileSystem;

    bool operator==(const Mount&) const = default;
};

// The mounted file systems that lie on disks, each once and in the order of mounting: of a disk that shows in
// several places (bind mounts, subvolumes) the first. `text` is that of /proc/self/mountinfo (proc(5)).
[[nodiscard]] std::vector<Mount> ParseMountTable(std::string_view text);

}  // namespace lumato::platform
