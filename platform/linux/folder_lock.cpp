#include "platform/linux/folder_lock.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "base/printable.h"

namespace lumato::platform {

Result<FolderLock> FolderLock::Take(const Path& folder) {
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return Fail(KindOfErrno(errno, false), About(Printable(folder.string()), SystemMessage(errno)));
    FolderLock lock(fd);
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0)
        return lock;
    if (errno == EWOULDBLOCK)
        return Fail(
            ErrorKind::Busy,
            About(Printable(folder.string()),
                  Phrase("IN_USE_BY_LUMATO", "in use by another Lumato program; close it and try again")));
    return Fail(KindOfErrno(errno, true), About(Printable(folder.string()), SystemMessage(errno)));
}

FolderLock::FolderLock(FolderLock&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

FolderLock& FolderLock::operator=(FolderLock&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
}

FolderLock::~FolderLock() {
    if (m_fd >= 0)
        ::close(m_fd);
}

}  // namespace lumato::platform
