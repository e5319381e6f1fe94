#include "base/file_identity.h"

#include <system_error>

#include <sys/stat.h>

namespace lumato {
namespace {

Path ParentOf(const Path& path) {
    const Path parent = path.parent_path();
    return parent.empty() ? Path(".") : parent;
}

// Upwards from a name that may not be there, its own last link not followed.
bool StandsIn(const Path& path, const FileIdentity& folder) {
    std::error_code error;
    Path at = std::filesystem::weakly_canonical(ParentOf(path), error);
    for (; !error; at = at.parent_path()) {
        if (IdentityOf(at) == folder)
            return true;
        if (!at.has_relative_path())
            return false;
    }
    return false;
}

}  // namespace

FileIdentity IdentityOf(const Path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0)
        return {status.st_dev, status.st_ino};
    const Path end = EndOfLinks(path);
    std::error_code error;
    const Path folder = std::filesystem::weakly_canonical(ParentOf(end), error);
    if (!error && ::stat(folder.c_str(), &status) == 0)
        return {status.st_dev, status.st_ino, end.filename().string()};
    return {0, 0, (error ? end : folder / end.filename()).string()};
}

Path EndOfLinks(Path path) {
    std::error_code error;
    // The kernel gives up after as many.
    for (int i = 0; i < 40 && std::filesystem::is_symlink(path, error); ++i) {
        const Path next = std::filesystem::read_symlink(path, error);
        if (error)
            break;
        path = path.parent_path() / next;
    }
    return path;
}

bool LiesIn(const Path& path, const Path& folder) {
    const FileIdentity identity = IdentityOf(folder);
    return IdentityOf(path) == identity || StandsIn(path, identity) || StandsIn(EndOfLinks(path), identity);
}

}  // namespace lumato
