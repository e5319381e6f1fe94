// Files in a tar archive (POSIX.1-1988 "ustar"). Writing is the system library's; reading is ours, because
// libraries give up at the first damaged header, and what lies behind it is what a backup is for.
//
// No state; callable from any thread.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"

namespace lumato::backup {

struct ArchivedFile {
    std::string name;  // at most 100 characters of ASCII
    ByteSpan bytes;
};

// Errors: Unsupported without the library; TooLarge where memory runs out.
[[nodiscard]] Result<std::vector<std::uint8_t>> WriteArchive(const std::vector<ArchivedFile>& files,
                                                             std::time_t time);

struct ArchiveContents {
    std::vector<ArchivedFile> files;  // views of the archive; the last one may be cut short
    std::vector<std::size_t> lost;    // where something begins that is neither header nor padding
};

// All plain files whose headers are sound, behind damage, too: the search goes on at the next 512 bytes.
// `wanted`: whether a file of this name matters.
[[nodiscard]] ArchiveContents ReadArchive(ByteSpan archive, bool (*wanted)(std::string_view name));

inline constexpr std::size_t kTarBlock = 512;

}  // namespace lumato::backup
