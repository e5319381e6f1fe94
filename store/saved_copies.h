// The files that saving has written: what stands under such a name and is no earlier copy of ours belongs to
// somebody, and goes to the trash before a copy takes its place.
//
// Used by the thread that owns the store.
#pragma once

#include <vector>

#include "base/file.h"
#include "base/sha256.h"

namespace lumato::store {

class SavedCopies {
  public:
    SavedCopies();
    // Notes what was written, in the state folder; where that fails the next save keeps more than it must.
    ~SavedCopies();
    SavedCopies(const SavedCopies&) = delete;
    SavedCopies& operator=(const SavedCopies&) = delete;

    // Writes a copy. What denies writing, a folder, pipe or device is left alone. Errors: those of
    // WriteFile() and of MoveToTrash(); the name then stands for what it stood for.
    [[nodiscard]] Result<void> Put(const Path& target, ByteSpan bytes);

    // Where the files are now that were in the way.
    [[nodiscard]] const std::vector<Path>& Replaced() const { return m_replaced; }

  private:
    [[nodiscard]] bool IsOurs(const Path& target, ByteSpan bytes) const;

    std::vector<Digest> m_written;  // of a path and the contents together; the newest last
    std::vector<Path> m_replaced;
};

}  // namespace lumato::store
