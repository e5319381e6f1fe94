// Where the journal of a frame lies on the disk: "recovery/NAME" in the state folder, with NAME from the
// frame's identity, holding "journal" and the streams it speaks of, each once, named by its hash.
//
// Whatever is damaged is put aside under a name ending in ".damaged": never trusted, never deleted here.
// Links are not followed. Used by the thread that owns the store.
#pragma once

#include <optional>

#include "store/journal.h"

namespace lumato::store {

// The folder of the frame's n-th journal, from 1. Frames of one model can have the same identity, and a
// journal that turned out to be another one's keeps its place. Not created here.
[[nodiscard]] Path JournalFolder(int number);

// The journal there. None when there is none. Errors: Damaged (it has been put aside), Unreadable.
[[nodiscard]] Result<std::optional<Journal>> LoadJournal(const Path& folder);
// On the disk when it returns, with the streams that were kept before; after a failure the journal that was
// there still stands.
[[nodiscard]] Result<void> SaveJournal(const Path& folder, const Journal& journal);

// The picture's stream. Errors: NotFound, Unreadable, Damaged (it has been put aside).
[[nodiscard]] Result<std::vector<std::uint8_t>> LoadStream(const Path& folder, const JournalPicture& picture);
// Keeps the stream unless it is there whole: a stream that has its name has been synced.
[[nodiscard]] Result<void> KeepStream(const Path& folder, const JournalPicture& picture, ByteSpan stream);

// Deletes the journal, then its streams; what was put aside stays.
void DropJournal(const Path& folder);

}  // namespace lumato::store
