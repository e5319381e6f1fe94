// Whole files in and out of memory. A written file appears under its name complete or not at all.
//
// No state; callable from any thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"

namespace lumato {

using Path = std::filesystem::path;

// The whole file. Errors: NotFound, Unreadable (a folder, too), TooLarge above `limit` bytes.
[[nodiscard]] Result<std::vector<std::uint8_t>> ReadFile(const Path& path, std::uintmax_t limit = 0x7FFFFFFF);

// The same for files that only the program reads, at any moment and without being asked: a pipe or device in
// the file's place is Unreadable at once, opened by nobody and waited for never.
[[nodiscard]] Result<std::vector<std::uint8_t>> ReadPlainFile(const Path& path,
                                                              std::uintmax_t limit = 0x7FFFFFFF);

enum class Links {
    Follow,   // a link under the final name stays, and the file it leads to is replaced or made: for names
              // users give. A device or pipe is written directly, a file that denies writing is left alone
    Replace,  // a file or link that stands there is replaced: in our own folders, nothing outside
              // them is written through links, and nobody but the user reads what is in them
};

// Writes `bytes` to a temporary file beside `path` and renames it there, so that a failure anywhere (disk
// full, no permission) leaves whatever stood under the name as it was. With Links::Follow a replaced file's
// permission bits stay. Errors: NotFound (no such folder), Unwritable.
[[nodiscard]] Result<void> WriteFile(const Path& path, ByteSpan bytes, Links links = Links::Follow);

// As WriteFile() with Links::Replace, for its owner's eyes alone, and its contents are on the disk before it
// gets its name: whoever finds the name, after a power failure or a sync that failed, finds them whole. The
// name is there after SyncFolder().
[[nodiscard]] Result<void> WriteSyncedFile(const Path& path, ByteSpan bytes);

// Whether it is a folder, and no link to one.
[[nodiscard]] bool IsRealFolder(const Path& path);
// Makes the folder, and those above it, for the owner alone; one that is there is closed to others. Errors:
// Unwritable, for something else in its place, too: a link is none of ours.
[[nodiscard]] Result<void> MakePrivateFolder(const Path& folder);
// Takes from others what they may do with a file or folder of ours, as far as that can be done.
void ClosePath(const Path& path);

// Waits until a folder's list of names is on the disk. Errors: NotFound, Unreadable, Unwritable.
[[nodiscard]] Result<void> SyncFolder(const Path& folder);

}  // namespace lumato
