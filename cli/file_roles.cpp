#include "cli/file_roles.h"

#include <algorithm>

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
    std::string role;  // "the frame"
    FileIdentity identity = IdentityOf(path);
};

tl::unexpected<Failure> Refuse(const Path& path, const std::string& why) {
    return tl::unexpected<Failure>(Failure{kWrongUsage, Printable(path.native()) + ": " + why});
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

// Where journals lie, with whatever other names they have.
std::vector<Name> Journals(const Path& recovery) {
    std::vector<Name> files;
    std::error_code ignored;
    for (fs::recursive_directory_iterator entry(recovery, ignored), end; !ignored && entry != end;
         entry.increment(ignored))
        if (entry->is_regular_file(ignored))
            files.push_back({entry->path(), "a journal"});
    return files;
}

std::vector<Name> FilesRead(const Arguments& arguments, const Path& recovery) {
    std::vector<Name> files = Journals(recovery);
    if (arguments.frame)
        files.push_back({*arguments.frame, "the frame"});
    for (const Path& input : arguments.inputs)
        files.push_back({input, "what is read"});
    const Path language = platform::ResourcesFolder(arguments.home) / "Language.ini";
    if (std::error_code ignored; fs::exists(language, ignored))
        files.push_back({language, "the language file"});
    return files;
}

}  // namespace

tl::expected<void, Failure> CheckOutputs(const Arguments& arguments) {
    std::vector<Path> outputs = arguments.outputs;
    if (arguments.trace)
        outputs.push_back(*arguments.trace);
    if (outputs.empty())
        return {};
    const Path recovery = platform::StateFolder(arguments.home) / "recovery";
    std::vector<Name> taken = FilesRead(arguments, recovery);
    for (const Path& output : outputs) {
        if (IsDisk(output))
            return Refuse(output, "a disk's own bytes are not written over");
        if (LiesIn(output, recovery))
            return Refuse(output,
                          "journals of broken-off downloads lie there, nothing else is written there");
        for (const Path& file : FilesWritten(output)) {
            const FileIdentity identity = IdentityOf(file);
            const auto same = std::ranges::find(taken, identity, &Name::identity);
            if (same != taken.end() && !IsStream(file))
                return Refuse(file, "this is " + same->role + ", it cannot be written over in the same call");
        }
        taken.push_back({output, "written already"});
    }
    return {};
}

tl::expected<void, Failure> CheckInputsOfConnecting(const Arguments& arguments) {
    std::vector<Path> inputs = arguments.inputs;
    if (arguments.frame)
        inputs.push_back(*arguments.frame);
    const Path home = platform::ResourcesFolder(arguments.home);
    for (const char* folder : {"data", "Edata"})
        for (const Path& input : inputs)
            if (LiesIn(input, home / folder))
                return Refuse(input, Printable((home / folder).native()) +
                                         " is emptied when a frame is connected; move the file elsewhere");
    return {};
}

}  // namespace lumato::cli
