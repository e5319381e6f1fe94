#include "cli/file_roles.h"

#include <algorithm>
#include <utility>

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "base/file_identity.h"
#include "base/printable.h"
#include "platform/linux/folders.h"

namespace lumato::cli {
namespace {

namespace fs = std::filesystem;

struct Name {
    Path path;
    const char* role;  // "the frame"
    FileIdentity identity = IdentityOf(path);
};

tl::unexpected<Failure> Refuse(const Path& path, Phrase why) {
    return tl::unexpected<Failure>(Failure{kWrongUsage, About(Printable(path.native()), std::move(why))});
}

// A terminal, a pipe or /dev/null: reading and writing one do not meet.
bool IsStream(const Path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 &&
           (S_ISCHR(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

// Disks, and the nodes through which one speaks to frames: bytes that are written there are lost to it.
bool IsDisk(const Path& path) {
    constexpr unsigned kScsiGeneric = 21;
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 &&
           (S_ISBLK(status.st_mode) || (S_ISCHR(status.st_mode) && major(status.st_rdev) == kScsiGeneric));
}

// The name itself, and in a folder of saved pictures the bitmaps that it has already: under one of their
// names another picture may come.
std::vector<Path> FilesWritten(const Path& output) {
    std::vector<Path> files{output};
    std::error_code ignored;
    for (fs::directory_iterator entry(output, ignored), end; !ignored && entry != end;
         entry.increment(ignored))
        if (entry->path().extension() == ".bmp")
            files.push_back(entry->path());
    return files;
}

// Journals and what else we keep, with whatever other names they have.
std::vector<Name> FilesOfOurs(const Path& state) {
    std::vector<Name> files;
    std::error_code ignored;
    for (fs::recursive_directory_iterator entry(state, ignored), end; !ignored && entry != end;
         entry.increment(ignored))
        if (entry->is_regular_file(ignored))
            files.push_back({entry->path(), "a file of Lumato's own"});
    return files;
}

std::vector<Name> FilesRead(const Arguments& arguments, const Path& state) {
    std::vector<Name> files = FilesOfOurs(state);
    if (arguments.frame)
        files.push_back({*arguments.frame, "the frame"});
    for (const Path& input : arguments.inputs)
        files.push_back({input, "what is read"});
    const Path language = platform::ResourcesFolder(arguments.home) / "Language.ini";
    if (std::error_code ignored; fs::exists(language, ignored))
        files.push_back({language, "the language file"});
    return files;
}

// The folder of the two that connecting empties, if the name lies in one.
std::optional<Path> EmptiedFolderOf(const Path& path, const Arguments& arguments) {
    for (const char* name : {"data", "Edata"})
        if (Path folder = platform::ResourcesFolder(arguments.home) / name; LiesIn(path, folder))
            return folder;
    return std::nullopt;
}

tl::expected<void, Failure> CheckPlace(const Path& output, const Path& state, const Arguments& arguments) {
    if (IsDisk(output))
        return Refuse(output, "a disk's own bytes are not written over");
    if (LiesIn(output, state))
        return Refuse(output, "Lumato keeps journals and notes there, nothing else is written there");
    if (const auto folder = EmptiedFolderOf(output, arguments))
        return Refuse(output, Phrase("", "{} is emptied when a frame is connected; choose another place",
                                     Printable(folder->native())));
    return {};
}

}  // namespace

tl::expected<void, Failure> CheckOutputs(const Arguments& arguments) {
    std::vector<Path> outputs = arguments.outputs;
    if (arguments.trace)
        outputs.push_back(*arguments.trace);
    if (outputs.empty())
        return {};
    const Path state = platform::StateFolder(arguments.home);
    std::vector<Name> taken = FilesRead(arguments, state);
    for (const Path& output : outputs) {
        if (auto harmless = CheckPlace(output, state, arguments); !harmless)
            return harmless;
        for (const Path& file : FilesWritten(output)) {
            const FileIdentity identity = IdentityOf(file);
            const auto same = std::ranges::find(taken, identity, &Name::identity);
            if (same != taken.end() && !IsStream(file))
                return Refuse(
                    file, Phrase("", "this is {}, it cannot be written over in the same call", same->role));
        }
        taken.push_back({output, "written already"});
    }
    return {};
}

tl::expected<void, Failure> CheckInputsOfConnecting(const Arguments& arguments) {
    std::vector<Path> inputs = arguments.inputs;
    if (arguments.frame)
        inputs.push_back(*arguments.frame);
    for (const Path& input : inputs)
        if (const auto folder = EmptiedFolderOf(input, arguments))
            return Refuse(input,
                          Phrase("", "{} is emptied when a frame is connected; move the file elsewhere",
                                 Printable(folder->native())));
    return {};
}

}  // namespace lumato::cli
