#include "vframe/flash_image.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/printable.h"

namespace lumato::vframe {
namespace {

tl::unexpected<Error> FileFailure(const Path& path, int errorNumber, bool writing) {
    return Fail(KindOfErrno(errorNumber, writing),
                Printable(path.native()) + ": " + SystemMessage(errorNumber));
}

tl::unexpected<Error> NoFlash(const Path& path, const std::string& why) {
    return Fail(ErrorKind::Unsupported, Printable(path.native()) + ": not a flash image: " + why);
}

Result<std::size_t> FlashSizeOf(int fd, const Path& path) {
    struct stat status {};
    if (::fstat(fd, &status) != 0)
        return FileFailure(path, errno, false);
    if (!S_ISREG(status.st_mode))
        return NoFlash(path, "not a regular file");
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size < kSmallestFlash || size > kLargestFlash || size % kFlashGranule != 0)
        return NoFlash(path, "it has " + std::to_string(size) + " bytes; a flash has a multiple of " +
                                 std::to_string(kFlashGranule) + ", from " + std::to_string(kSmallestFlash) +
                                 " to " + std::to_string(kLargestFlash));
    return static_cast<std::size_t>(size);
}

// The bytes from `offset` on that could be read: all, unless an error (errno) or the file's end stopped it.
std::size_t ReadAll(int fd, MutableByteSpan bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t got = ::pread(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got == 0)
            errno = EIO;  // the file has shrunk since its size was asked
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

std::size_t WriteAll(int fd, std::size_t offset, ByteSpan bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t put =
            ::pwrite(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            break;
        done += static_cast<std::size_t>(put);
    }
    return done;
}

// Reads the open file; the size is checked before memory is asked for.
Result<std::vector<std::uint8_t>> ReadFlash(int fd, const Path& path) {
    LUMATO_TRY(const std::size_t size, FlashSizeOf(fd, path));
    std::vector<std::uint8_t> bytes(size);
    if (ReadAll(fd, bytes) != size)
        return FileFailure(path, errno, false);
    return bytes;
}

// Not blocking, so that a pipe in a file's place is refused at once.
int OpenFile(const Path& path, int access) {
    return ::open(path.c_str(), access | O_CLOEXEC | O_NONBLOCK);
}

}  // namespace

FlashImage::FlashImage(int fd, std::string name, std::vector<std::uint8_t> bytes)
    : m_fd(fd), m_name(std::move(name)), m_bytes(std::move(bytes)) {}

FlashImage::FlashImage(FlashImage&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)),
      m_closed(other.m_closed),
      m_name(std::move(other.m_name)),
      m_bytes(std::move(other.m_bytes)) {}

FlashImage& FlashImage::operator=(FlashImage&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    std::swap(m_closed, other.m_closed);
    std::swap(m_name, other.m_name);
    std::swap(m_bytes, other.m_bytes);
    return *this;
}

FlashImage::~FlashImage() {
    Close();
}

Result<FlashImage> FlashImage::Open(const Path& path) {
    const int fd = OpenFile(path, O_RDWR);
    if (fd < 0 && errno == EISDIR)
        return NoFlash(path, "it is a folder");
    if (fd < 0)
        return FileFailure(path, errno, true);
    FlashImage image(fd, path.string(), {});
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            return Fail(ErrorKind::Busy, Printable(path.native()) + ": in use by another program");
        return FileFailure(path, errno, true);
    }
    LUMATO_TRY(image.m_bytes, ReadFlash(fd, path));
    return image;
}

FlashImage FlashImage::InMemory(std::vector<std::uint8_t> bytes, std::string name) {
    return FlashImage(-1, std::move(name), std::move(bytes));
}

Result<void> FlashImage::Write(std::size_t offset, ByteSpan bytes) {
    if (m_closed)
        return Fail(ErrorKind::Gone, Printable(m_name) + ": closed");
    const std::size_t written = m_fd < 0 ? bytes.size() : WriteAll(m_fd, offset, bytes);
    const int errorNumber = errno;
    std::copy_n(bytes.begin(), written, m_bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    if (written != bytes.size())
        return Fail(ErrorKind::Unwritable, Printable(m_name) + ": " + SystemMessage(errorNumber));
    return {};
}

void FlashImage::Close() {
    m_closed = true;
    if (m_fd >= 0)
        ::close(std::exchange(m_fd, -1));
}

Result<std::vector<std::uint8_t>> ReadFlashImage(const Path& path) {
    const int fd = OpenFile(path, O_RDONLY);
    if (fd < 0)
        return FileFailure(path, errno, false);
    auto bytes = ReadFlash(fd, path);
    ::close(fd);
    return bytes;
}

}  // namespace lumato::vframe
