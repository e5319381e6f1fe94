// Which file a name means, whatever other names it has: links, hard links, other spellings of the way there.
//
// No state; callable from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "base/file.h"

namespace lumato {

// Equal for two names exactly when what is written under one is read under the other.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;  // the folder's, for a file that is not there yet
    std::string name{};       // which has a name alone; empty for one that is there

    bool operator==(const FileIdentity&) const = default;
};
[[nodiscard]] FileIdentity IdentityOf(const Path& path);

// Where a chain of links leads, whether something is there or not.
[[nodiscard]] Path EndOfLinks(Path path);

// Whether the name stands in the folder or in one below it, or leads there. The folder itself does.
[[nodiscard]] bool LiesIn(const Path& path, const Path& folder);

}  // namespace lumato
