// One program at a time in a folder. Held by whoever took it, on one thread.
#pragma once

#include "base/error.h"
#include "base/file.h"

namespace lumato::platform {

// Holds the folder for as long as it lives. The lock is the kernel's, on the folder itself: a program that
// died leaves none behind, and there is no file to clean up.
class FolderLock {
  public:
    // Errors: Busy (another program holds it), NotFound, Unreadable.
    [[nodiscard]] static Result<FolderLock> Take(const Path& folder);

    FolderLock(FolderLock&& other) noexcept;
    FolderLock& operator=(FolderLock&& other) noexcept;
    ~FolderLock();

  private:
    explicit FolderLock(int fd) : m_fd(fd) {}

    int m_fd;
};

}  // namespace lumato::platform
