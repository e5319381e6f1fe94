#include "platform/linux/file_holders.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <vector>

#include "base/printable.h"

namespace lumato::platform {
namespace {

constexpr std::size_t kMostNamed = 3;

bool LiesIn(std::string_view path, const std::string& target) {
    return path.starts_with(target) &&
           (path.size() == target.size() || path[target.size()] == '/' || target.ends_with('/'));
}

// Only the link's text is looked at: following it could hang on a dead network mount.
bool LinksInto(const Path& link, const std::string& target) {
    std::error_code error;
    return LiesIn(std::filesystem::read_symlink(link, error).native(), target);
}

bool HasOpenFile(const Path& process, const std::string& target) {
    std::error_code error;
    for (std::filesystem::directory_iterator file(process / "fd", error);
         !error && file != std::filesystem::directory_iterator(); file.increment(error)) {
        if (LinksInto(file->path(), target))
            return true;
    }
    return false;
}

std::string TextOf(const Path& file) {
    const Result<std::vector<std::uint8_t>> bytes = ReadPlainFile(file);
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

// Each line of maps ends with the path of the mapped file, the only field that begins with a slash.
bool HasMappedFile(const Path& process, const std::string& target) {
    std::istringstream maps(TextOf(process / "maps"));
    for (std::string line; std::getline(maps, line);) {
        const std::size_t slash = line.find('/');
        if (slash != std::string::npos && LiesIn(std::string_view(line).substr(slash), target))
            return true;
    }
    return false;
}

bool Holds(const Path& process, const std::string& target) {
    return LinksInto(process / "cwd", target) || LinksInto(process / "root", target) ||
           HasOpenFile(process, target) || HasMappedFile(process, target);
}

std::string NameOf(const Path& process) {
    std::string name = TextOf(process / "comm");
    name.erase(name.find_last_not_of('\n') + 1);
    return Printable(name) + " (process " + process.filename().string() + ")";
}

bool IsProcess(const Path& entry) {
    const std::string name = entry.filename().string();
    return !name.empty() && std::ranges::all_of(name, [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::string FileHolders(const Path& target, const Path& procRoot) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(procRoot, error);
         !error && entry != std::filesystem::directory_iterator() && names.size() <= kMostNamed;
         entry.increment(error)) {
        if (IsProcess(entry->path()) && Holds(entry->path(), target.native()))
            names.push_back(NameOf(entry->path()));
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? "" : ", ") + (i < kMostNamed ? names[i] : std::string("others"));
    return text;
}

Phrase InUseBy(const Path& target, const Path& procRoot) {
    const std::string holders = FileHolders(target, procRoot);
    return holders.empty() ? Phrase("IN_USE_BY_ANOTHER", "in use by another program")
                           : Phrase("IN_USE_BY", "in use by {0}", holders);
}

}  // namespace lumato::platform
