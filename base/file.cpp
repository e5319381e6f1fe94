#include "base/file.h"

#include <cerrno>
#include <cstring>
#include <random>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumato {
namespace {

// Owns a file descriptor.
class Descriptor {
  public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return m_fd; }
    // Closing reports what a write could not: a full disk behind a network or a quota.
    bool Close() {
        const int fd = m_fd;
        m_fd = -1;
        return ::close(fd) == 0;
    }

  private:
    int m_fd;
};

Error FileError(const Path& path, int errorNumber, bool writing) {
    return Error{KindOfErrno(errorNumber, writing), path.string() + ": " + SystemMessage(errorNumber)};
}

bool WriteAll(int fd, ByteSpan bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

Result<void> WriteDirectly(const Path& path, ByteSpan bytes) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (file.Get() < 0 || !WriteAll(file.Get(), bytes) || !file.Close())
        return tl::unexpected(FileError(path, errno, true));
    return {};
}

Path TemporaryBeside(const Path& path) {
    // The name is short whatever the final one is, so that a name of 255 bytes can be written too.
    static thread_local std::mt19937_64 random{std::random_device{}()};
    char name[40];
    std::snprintf(name, sizeof name, ".lumato-%016llx.tmp", static_cast<unsigned long long>(random()));
    return path.parent_path() / name;
}

Result<void> WriteAndRename(const Path& path, ByteSpan bytes) {
    const Path temporary = TemporaryBeside(path);
    Descriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file.Get() < 0)
        return tl::unexpected(FileError(path, errno, true));
    if (!WriteAll(file.Get(), bytes) || !file.Close() || ::rename(temporary.c_str(), path.c_str()) != 0) {
        const int errorNumber = errno;
        ::unlink(temporary.c_str());
        return tl::unexpected(FileError(path, errorNumber, true));
    }
    return {};
}

}  // namespace

Result<std::vector<std::uint8_t>> ReadFile(const Path& path, std::uintmax_t limit) {
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Get() < 0)
        return tl::unexpected(FileError(path, errno, false));
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0)
        return tl::unexpected(FileError(path, errno, false));
    if (S_ISDIR(status.st_mode))
        return tl::unexpected(FileError(path, EISDIR, false));

    std::vector<std::uint8_t> bytes;
    if (S_ISREG(status.st_mode) && static_cast<std::uintmax_t>(status.st_size) <= limit)
        bytes.reserve(static_cast<std::size_t>(status.st_size) + 1);
    constexpr std::size_t kChunk = 1 << 18;
    for (;;) {
        const std::size_t have = bytes.size();
        const std::size_t room = std::max(bytes.capacity() - have, kChunk);
        bytes.resize(have + room);
        const ssize_t got = ::read(file.Get(), bytes.data() + have, room);
        const int errorNumber = errno;
        bytes.resize(have + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        if (got < 0 && errorNumber == EINTR)
            continue;
        if (got < 0)
            return tl::unexpected(FileError(path, errorNumber, false));
        if (bytes.size() > limit)
            return Fail(ErrorKind::TooLarge,
                        path.string() + ": larger than " + std::to_string(limit) + " bytes");
        if (got == 0)
            return bytes;
    }
}

Result<void> WriteFile(const Path& path, ByteSpan bytes, Links links) {
    struct stat status {};
    const bool there = ::stat(path.c_str(), &status) == 0;
    if (there && S_ISDIR(status.st_mode))
        return tl::unexpected(FileError(path, EISDIR, true));
    if (links == Links::Replace)
        return WriteAndRename(path, bytes);
    if (there && !S_ISREG(status.st_mode))
        return WriteDirectly(path, bytes);
    std::error_code none;
    const Path target = there ? std::filesystem::canonical(path, none) : path;
    return WriteAndRename(target.empty() ? path : target, bytes);
}

}  // namespace lumato
