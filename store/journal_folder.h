// Where the journals of a home lie on the disk: "recovery/N-MODEL" in the state folder, with N counting from
// 1 and MODEL from the identity of the frame. Each folder holds "journal" and the streams that it keeps, each
// once, named by its hash. Folders and files are their owner's alone.
//
// Whatever is damaged is put aside under a name ending in ".damaged": never trusted, never deleted here. What
// another version of this program wrote stays where it is. Links are not followed. Used by the thread that
// owns the store.
#pragma once

#include <optional>

#include "store/journal.h"

namespace lumato::store {

// A folder of recovery/. Each has a number of its own; those without one in their names come last.
struct JournalPlace {
    int number = 0;
    Path folder;
};
// Errors: Unreadable, so that journals which are there and closed to us are not taken for none.
[[nodiscard]] Result<std::vector<JournalPlace>> JournalPlaces(const Path& statePath);

// The folders whose journals may be the connected frame's. Errors: Unreadable.
[[nodiscard]] Result<std::vector<Path>> JournalFoldersOfFrame();
// One that is still free. Not created here.
[[nodiscard]] Path FreshJournalFolder();

// The journal there, which nothing is done to. Errors: NotFound, Unreadable, Damaged, Unsupported.
[[nodiscard]] Result<Journal> ReadJournal(const Path& folder);
// The same for a folder of this frame; what is damaged has been put aside.
[[nodiscard]] Result<Journal> LoadJournal(const Path& folder);
// On the disk when it returns, with the streams that were kept before; after a failure the journal that was
// there still stands.
[[nodiscard]] Result<void> SaveJournal(const Path& folder, const Journal& journal);
// The highest of all journals, but for the one in `except`.
[[nodiscard]] std::uint32_t HighestCounter(const Path& except);

// The picture's stream. Errors: NotFound, Unreadable, Damaged.
[[nodiscard]] Result<std::vector<std::uint8_t>> ReadStream(const Path& folder, const JournalPicture& picture);
// The same; what is damaged has been put aside.
[[nodiscard]] Result<std::vector<std::uint8_t>> LoadStream(const Path& folder, const JournalPicture& picture);
// Keeps the stream unless it is there whole: a stream that has its name has been synced.
[[nodiscard]] Result<void> KeepStream(const Path& folder, const JournalPicture& picture, ByteSpan stream);
[[nodiscard]] bool HasStream(const Path& folder, const JournalPicture& picture);

// Deletes the journal, then its streams; what was put aside stays.
void DropJournal(const Path& folder);

}  // namespace lumato::store
