#include "platform/linux/trash.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/printable.h"
#include "platform/linux/folders.h"

namespace lumato::platform {
namespace {

constexpr int kMostNames = 10000;

std::optional<dev_t> FileSystemOf(const Path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? std::optional(status.st_dev) : std::nullopt;
}

// The folder, made for the user alone where it is missing. A link, or another user's folder, is not ours to
// use.
bool MakeFolder(const Path& folder) {
    struct stat status {};
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        return false;
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid();
}

// As a file's own name for itself is written: all but letters, digits and a few others as %XX.
std::string Escaped(const std::string& path) {
    std::string escaped;
    for (const char c : path) {
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                             std::string_view("/-_.~").find(c) != std::string_view::npos;
        char code[4];
        std::snprintf(code, sizeof code, "%%%02X", unsigned{static_cast<unsigned char>(c)});
        escaped += isPlain ? std::string(1, c) : code;
    }
    return escaped;
}

std::string InfoText(const std::string& path) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    return "[Trash Info]\nPath=" + Escaped(path) + "\nDeletionDate=" + date + "\n";
}

// Renames without replacing what has the new name; 0 or an errno.
int Rename(const Path& from, const Path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // A file system that cannot promise it.
    struct stat status {};
    if (::lstat(to.c_str(), &status) == 0)
        return EEXIST;
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

// The information comes first, alone by its name: whoever made it owns the name in "files", too.
bool WriteInfo(const Path& info, const std::string& text) {
    const int fd = ::open(info.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (::close(fd) == 0 && written)
        return true;
    ::unlink(info.c_str());
    errno = ENOSPC;
    return false;
}

std::optional<Path> MoveInto(const Path& trash, const Path& file, const std::string& nameForInfo) {
    if (!MakeFolder(trash) || !MakeFolder(trash / "files") || !MakeFolder(trash / "info"))
        return std::nullopt;
    // The name as it was, as far as there is room for what is added.
    const std::string name = file.filename().string().substr(0, 200);
    for (int number = 1; number <= kMostNames; ++number) {
        const std::string unique = number == 1 ? name : name + "." + std::to_string(number);
        const Path info = trash / "info" / (unique + ".trashinfo");
        if (!WriteInfo(info, InfoText(nameForInfo))) {
            if (errno == EEXIST)
                continue;
            return std::nullopt;
        }
        const int failed = Rename(file, trash / "files" / unique);
        if (failed == 0)
            return trash / "files" / unique;
        ::unlink(info.c_str());
        if (failed != EEXIST)
            return std::nullopt;
    }
    return std::nullopt;
}

// The user's own trash, for what lies on its file system.
Path HomeTrash() {
    return ResourcesFolder({}).parent_path() / "Trash";
}

dev_t FileSystemOfHomeTrash() {
    Path existing = HomeTrash();
    while (!FileSystemOf(existing) && existing.has_relative_path())
        existing = existing.parent_path();
    return FileSystemOf(existing).value_or(0);
}

std::optional<Path> MoveHome(const Path& file) {
    const Path above = HomeTrash().parent_path();
    if (!FileSystemOf(above) && !MakePrivateFolder(above))
        return std::nullopt;
    return MoveInto(HomeTrash(), file, file);
}

// That in the topmost folder of the file's own file system.
std::optional<Path> MoveToTop(const Path& file, dev_t fileSystem) {
    Path top = file.parent_path();
    while (top.has_relative_path() && FileSystemOf(top.parent_path()) == fileSystem)
        top = top.parent_path();
    return MoveInto(top / (".Trash-" + std::to_string(::geteuid())), file, file.lexically_relative(top));
}

Result<Path> MoveAside(const Path& file) {
    int failed = EEXIST;
    for (int number = 1; number <= kMostNames && failed == EEXIST; ++number) {
        const Path beside = file.string() + ".~" + std::to_string(number) + "~";
        failed = Rename(file, beside);
        if (failed == 0)
            return beside;
    }
    return Fail(KindOfErrno(failed, true), About(Printable(file.string()), SystemMessage(failed)));
}

}  // namespace

Result<Path> MoveToTrash(const Path& file) {
    // Links on the way to it are followed, one in its place is not.
    std::error_code error;
    const Path folder = std::filesystem::canonical(file.has_parent_path() ? file.parent_path() : ".", error);
    const Path place = folder / file.filename();
    const std::optional<dev_t> fileSystem = error ? std::nullopt : FileSystemOf(place);
    if (!fileSystem)
        return Fail(ErrorKind::NotFound, About(Printable(file.string()), SystemMessage(ENOENT)));
    const std::optional<Path> moved =
        *fileSystem == FileSystemOfHomeTrash() ? MoveHome(place) : MoveToTop(place, *fileSystem);
    return moved ? Result<Path>(*moved) : MoveAside(place);
}

}  // namespace lumato::platform
