// Reads what is in a folder: names with kinds, sizes and dates, sorted for people.
//
// No state; callable from any thread. A folder may never answer.
#pragma once

#include <QString>
#include <cstdint>
#include <vector>

#include "base/file.h"

namespace lumato::app {

enum class SortOrder { ByName, NewestFirst };

struct FolderEntry {
    QString name;
    Path path;
    bool isFolder = false;
    std::int64_t size = 0;  // of a file
    std::int64_t modified = 0;
};

struct FolderRequest {
    Path folder;
    bool onFirstVolume =
        false;  // it is the first volume's root: those that hold no one's pictures are left out
    SortOrder order = SortOrder::ByName;
    Path wanted{};  // a folder in it that is listed though it is hidden; or none
};

struct FolderReading {
    std::vector<FolderEntry> entries;  // the direct items, without the hidden ones; folders first
    bool isReadable = false;
};

[[nodiscard]] FolderReading ReadFolder(const FolderRequest& request);

// The same items by name; none when the folder cannot be read.
[[nodiscard]] std::vector<FolderEntry> FSGetDirectoryItems(const Path& folder, bool onFirstVolume);

}  // namespace lumato::app
