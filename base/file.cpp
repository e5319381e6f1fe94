#include "base/file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <random>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/descriptor.h"
#include "base/file_identity.h"
#include "base/printable.h"
#include "base/temporary_name.h"

namespace lumato {
namespace {

Error FileError(const Path& path, int errorNumber, bool writing) {
    return Error{KindOfErrno(errorNumber, writing),
                 About(Printable(path.native()), SystemMessage(errorNumber))};
}

bool WriteAll(int fd, ByteSpan bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        if (written == 0) {  // a device that takes no more would hold us here for ever
            errno = EIO;
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

Result<void> WriteDirectly(const Path& path, ByteSpan bytes) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
    if (file.Get() < 0 || !WriteAll(file.Get(), bytes) || !file.Close())
        return tl::unexpected(FileError(path, errno, true));
    return {};
}

Path TemporaryBeside(const Path& path) {
    // The name is short whatever the final one is, so that a name of 255 bytes can be written too.
    static thread_local std::mt19937_64 random{std::random_device{}()};
    char number[20];
    std::snprintf(number, sizeof number, "%016llx", static_cast<unsigned long long>(random()));
    return path.parent_path() / TemporaryName(number);
}

// A synced file is for its owner alone.
enum class Syncing { None, BeforeRename };

// `replaced`: the plain file that stands under the name, whose permission bits the new one takes over.
Result<void> WriteAndRename(const Path& path, ByteSpan bytes, const struct stat* replaced,
                            Syncing syncing = Syncing::None, mode_t access = 0666) {
    const Path temporary = TemporaryBeside(path);
    Descriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, access));
    if (file.Get() < 0)
        return tl::unexpected(FileError(path, errno, true));
    // A file system without permission bits refuses; the contents matter more.
    if (replaced != nullptr && ::fchmod(file.Get(), replaced->st_mode & 0777) != 0)
        errno = 0;
    const bool written =
        WriteAll(file.Get(), bytes) && (syncing == Syncing::None || ::fsync(file.Get()) == 0) && file.Close();
    if (!written || ::rename(temporary.c_str(), path.c_str()) != 0) {
        const int errorNumber = errno;
        ::unlink(temporary.c_str());
        return tl::unexpected(FileError(path, errorNumber, true));
    }
    return {};
}

Result<void> WriteFollowing(const Path& path, ByteSpan bytes) {
    struct stat status {};
    const bool there = ::stat(path.c_str(), &status) == 0;
    if (!there && errno != ENOENT)
        return tl::unexpected(FileError(path, errno, true));
    if (!there)
        return WriteAndRename(EndOfLinks(path), bytes, nullptr);
    if (S_ISDIR(status.st_mode))
        return tl::unexpected(FileError(path, EISDIR, true));
    if (!S_ISREG(status.st_mode))
        return WriteDirectly(path, bytes);
    // Renaming asks for no permission on the file itself, but whoever made it read-only meant it.
    if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
        return tl::unexpected(FileError(path, errno, true));
    return WriteAndRename(EndOfLinks(path), bytes, &status);
}

Result<void> WriteReplacing(const Path& path, ByteSpan bytes, Syncing syncing = Syncing::None) {
    struct stat status {};
    const bool there = ::lstat(path.c_str(), &status) == 0;
    if (there && S_ISDIR(status.st_mode))
        return tl::unexpected(FileError(path, EISDIR, true));
    if (there && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode))
        return Fail(ErrorKind::Unwritable, About(Printable(path.native()), kNotPlainFile));
    return WriteAndRename(path, bytes, nullptr, syncing, 0600);
}

Error TooLargeError(const Path& path, std::uintmax_t limit) {
    return Error{ErrorKind::TooLarge,
                 Printable(path.native()) + ": larger than " + std::to_string(limit) + " bytes"};
}

// Appends what one read gives; 0 at the end of the file.
Result<std::size_t> ReadMore(int fd, const Path& path, std::vector<std::uint8_t>& bytes) {
    constexpr std::size_t kChunk = 1 << 18;
    const std::size_t have = bytes.size();
    if (bytes.capacity() == have)
        bytes.reserve(std::max(2 * have, kChunk));
    bytes.resize(bytes.capacity());
    ssize_t got = 0;
    do {
        got = ::read(fd, bytes.data() + have, bytes.size() - have);
    } while (got < 0 && errno == EINTR);
    if (got < 0)
        return tl::unexpected(FileError(path, errno, false));
    bytes.resize(have + static_cast<std::size_t>(got));
    return static_cast<std::size_t>(got);
}

Result<std::vector<std::uint8_t>> ReadAll(int fd, const Path& path, std::uintmax_t limit) {
    struct stat status {};
    if (::fstat(fd, &status) != 0)
        return tl::unexpected(FileError(path, errno, false));
    if (S_ISDIR(status.st_mode))
        return tl::unexpected(FileError(path, EISDIR, false));
    const auto size = static_cast<std::uintmax_t>(status.st_size);
    if (S_ISREG(status.st_mode) && size > limit)
        return tl::unexpected(TooLargeError(path, limit));

    std::vector<std::uint8_t> bytes;
    if (S_ISREG(status.st_mode) && size > 0)
        bytes.reserve(static_cast<std::size_t>(size) + 1);  // one more, to meet the end without growing
    for (;;) {
        LUMATO_TRY(const std::size_t got, ReadMore(fd, path, bytes));
        if (bytes.size() > limit)
            return tl::unexpected(TooLargeError(path, limit));
        if (got == 0)
            return bytes;
    }
}

Result<std::vector<std::uint8_t>> OpenAndRead(const Path& path, int flags, std::uintmax_t limit) {
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | flags));
    if (file.Get() < 0)
        return tl::unexpected(FileError(path, errno, false));
    try {
        return ReadAll(file.Get(), path, limit);
    } catch (const std::bad_alloc&) {
        return tl::unexpected(FileError(path, ENOMEM, false));
    }
}

}  // namespace

Result<std::vector<std::uint8_t>> ReadFile(const Path& path, std::uintmax_t limit) {
    return OpenAndRead(path, 0, limit);
}

Result<std::vector<std::uint8_t>> ReadPlainFile(const Path& path, std::uintmax_t limit) {
    // Looked at before it is opened, because opening some devices does something; opened without waiting,
    // because it may have become a pipe in between.
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return tl::unexpected(FileError(path, errno, false));
    if (!S_ISREG(status.st_mode))
        return Fail(ErrorKind::Unreadable, About(Printable(path.native()), kNotPlainFile));
    return OpenAndRead(path, O_NONBLOCK, limit);
}

Result<void> WriteFile(const Path& path, ByteSpan bytes, Links links) {
    if (path.empty())
        return tl::unexpected(FileError(path, ENOENT, true));
    return links == Links::Follow ? WriteFollowing(path, bytes) : WriteReplacing(path, bytes);
}

Result<void> WriteSyncedFile(const Path& path, ByteSpan bytes) {
    if (path.empty())
        return tl::unexpected(FileError(path, ENOENT, true));
    return WriteReplacing(path, bytes, Syncing::BeforeRename);
}

bool IsRealFolder(const Path& path) {
    std::error_code ignored;
    return std::filesystem::is_directory(std::filesystem::symlink_status(path, ignored));
}

Result<void> MakePrivateFolder(const Path& folder) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::symlink_status(folder, error);
    if (std::filesystem::is_directory(status)) {
        ClosePath(folder);
        return {};
    }
    if (status.type() == std::filesystem::file_type::none)
        return tl::unexpected(FileError(folder, error.value(), true));
    if (status.type() != std::filesystem::file_type::not_found)
        return Fail(ErrorKind::Unwritable,
                    About(Printable(folder.native()),
                          Phrase("FOLDER_BELONGS_HERE",
                                 "a folder belongs here, and something else stands in its place")));
    if (folder.has_parent_path() && !std::filesystem::exists(folder.parent_path(), error))
        LUMATO_TRY_VOID(MakePrivateFolder(folder.parent_path()));
    if (::mkdir(folder.c_str(), 0700) == 0) {
        // Whatever the umask: one that its owner cannot enter is of no use to anybody.
        static_cast<void>(::chmod(folder.c_str(), 0700));
        return {};
    }
    // The log's thread, or another program, may have made it meanwhile.
    const int why = errno;
    if (why == EEXIST && IsRealFolder(folder))
        return {};
    return tl::unexpected(FileError(folder, why, true));
}

void ClosePath(const Path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && !S_ISLNK(status.st_mode) && (status.st_mode & 077) != 0 &&
        ::chmod(path.c_str(), status.st_mode & 0700) != 0)
        errno = 0;  // a file system without permission bits, or somebody else's folder
}

Result<void> SyncFolder(const Path& folder) {
    Descriptor file(::open(folder.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY));
    if (file.Get() < 0)
        return tl::unexpected(FileError(folder, errno, false));
    if (::fsync(file.Get()) != 0)
        return tl::unexpected(FileError(folder, errno, true));
    return {};
}

}  // namespace lumato
