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
                About(Printable(path.native()), SystemMessage(errorNumber)));
}

tl::unexpected<Error> NoFlash(const Path& path, Phrase why) {
    return Fail(
        ErrorKind::Unsupported,
        About(Printable(path.native()), Phrase("NO_FLASH_IMAGE", "not a flash image: {0}", std::move(why))));
}

Result<std::size_t> FlashSizeOf(int fd, const Path& path) {
    struct stat status {};
    if (::fstat(fd, &status) != 0)
        return FileFailure(path, errno, false);
    if (!S_ISREG(status.st_mode))
        return NoFlash(path, Phrase("NO_REGULAR_FILE", "not a regular file"));
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size < kSmallestFlash || size > kLargestFlash || size % kFlashGranule != 0)
        return NoFlash(path, Phrase("FLASH_HAS_BYTES",
                                    "it has {0} bytes; a flash has a multiple of {1}, from {2} to {3}", size,
                                    kFlashGranule, kSmallestFlash, kLargestFlash));
    return static_cast<std::size_t>(size);
}

// False, and errno, when not all of them could be read.
bool ReadAll(int fd, std::size_t offset, MutableByteSpan bytes) {
    while (!bytes.empty()) {
        const ssize_t got = ::pread(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got == 0)
            errno = EIO;  // the file has shrunk since its size was asked
        if (got <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(got));
        offset += static_cast<std::size_t>(got);
    }
    return true;
}

// False, and errno, when not all of them could be written.
bool WriteAll(int fd, std::size_t offset, ByteSpan bytes) {
    while (!bytes.empty()) {
        const ssize_t put = ::pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(put));
        offset += static_cast<std::size_t>(put);
    }
    return true;
}

// Not blocking, so that a pipe in a file's place is refused at once.
int OpenFile(const Path& path, int access) {
    return ::open(path.c_str(), access | O_CLOEXEC | O_NONBLOCK);
}

}  // namespace

FlashImage::FlashImage(int fd, std::string name, std::size_t size, std::vector<std::uint8_t> memory)
    : m_fd(fd), m_name(std::move(name)), m_size(size), m_memory(std::move(memory)) {}

FlashImage::FlashImage(FlashImage&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)),
      m_closed(other.m_closed),
      m_name(std::move(other.m_name)),
      m_size(other.m_size),
      m_memory(std::move(other.m_memory)) {}

FlashImage& FlashImage::operator=(FlashImage&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    std::swap(m_closed, other.m_closed);
    std::swap(m_name, other.m_name);
    std::swap(m_size, other.m_size);
    std::swap(m_memory, other.m_memory);
    return *this;
}

FlashImage::~FlashImage() {
    if (m_fd >= 0)
        ::close(m_fd);
}

Result<FlashImage> FlashImage::Open(const Path& path, ImageUse use) {
    const int fd = OpenFile(path, use == ImageUse::Read ? O_RDONLY : O_RDWR);
    if (fd < 0 && errno == EISDIR)
        return NoFlash(path, Phrase("IT_IS_A_FOLDER", "it is a folder"));
    if (fd < 0)
        return FileFailure(path, errno, true);
    FlashImage image(fd, path.string(), 0, {});
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            return Fail(ErrorKind::Busy, About(Printable(path.native()),
                                               Phrase("IN_USE_BY_ANOTHER", "in use by another program")));
        return FileFailure(path, errno, true);
    }
    LUMATO_TRY(image.m_size, FlashSizeOf(fd, path));
    return image;
}

FlashImage FlashImage::InMemory(std::vector<std::uint8_t> bytes, std::string name) {
    const std::size_t size = bytes.size();
    return FlashImage(-1, std::move(name), size, std::move(bytes));
}

std::string FlashImage::FileIdentity() const {
    struct stat status {};
    if (m_fd < 0 || ::fstat(m_fd, &status) != 0)
        return {};
    return "file " + std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

Result<void> FlashImage::Read(std::size_t offset, MutableByteSpan bytes) const {
    if (m_fd < 0)
        std::copy_n(m_memory.begin() + static_cast<std::ptrdiff_t>(offset), bytes.size(), bytes.begin());
    else if (!ReadAll(m_fd, offset, bytes))
        return FileFailure(m_name, errno, false);
    return {};
}

Result<void> FlashImage::Write(std::size_t offset, ByteSpan bytes) {
    if (m_closed)
        return Fail(ErrorKind::Gone, About(Printable(m_name), "closed"));
    if (m_fd < 0)
        std::copy(bytes.begin(), bytes.end(), m_memory.begin() + static_cast<std::ptrdiff_t>(offset));
    else if (!WriteAll(m_fd, offset, bytes))
        return Fail(ErrorKind::Unwritable, About(Printable(m_name), SystemMessage(errno)));
    return {};
}

void FlashImage::Close() {
    m_closed = true;
    if (m_fd >= 0)
        ::flock(m_fd, LOCK_UN);
}

Result<std::vector<std::uint8_t>> ReadFlashImage(const Path& path) {
    const int fd = OpenFile(path, O_RDONLY);
    if (fd < 0)
        return FileFailure(path, errno, false);
    const FlashImage image(fd, path.string(), 0, {});
    LUMATO_TRY(const std::size_t size, FlashSizeOf(fd, path));
    std::vector<std::uint8_t> bytes(size);
    LUMATO_TRY_VOID(image.Read(0, bytes));
    return bytes;
}

}  // namespace lumato::vframe
