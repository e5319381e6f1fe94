// lumatoctl permit: gives this computer's users access to frames, for a program that was not installed from a
// package.
#include <array>
#include <string_view>

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/file.h"
#include "base/printable.h"
#include "cli/commands.h"
#include "cli/udev_rules.h"

namespace lumato::cli {
namespace {

constexpr const char* kRulesFile = "/etc/udev/rules.d/70-lumato.rules";

template <std::size_t N>
bool RunProgram(std::array<const char*, N> words) {
    std::array<char*, N + 1> arguments{};
    for (std::size_t i = 0; i < N; ++i)
        arguments[i] = const_cast<char*>(words[i]);  // posix_spawn takes what it does not change
    pid_t child = 0;
    int status = 0;
    return ::posix_spawnp(&child, words[0], nullptr, nullptr, arguments.data(), environ) == 0 &&
           ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Frames that are plugged in get their permissions anew.
bool ApplyRules() {
    return RunProgram(std::array{"udevadm", "control", "--reload"}) &&
           RunProgram(std::array{"udevadm", "trigger", "--subsystem-match=scsi_generic", "--settle"});
}

}  // namespace

int RunPermit(const Arguments&, const Output& output) {
    // Whatever the caller's umask: everybody may read a rule, and root alone may change it, an older one's
    // permissions included.
    ::umask(022);
    std::error_code error;
    const Path file = kRulesFile;
    std::filesystem::create_directories(file.parent_path(), error);
    const std::string_view rules = kUdevRules;
    const ByteSpan bytes(reinterpret_cast<const std::uint8_t*>(rules.data()), rules.size());
    if (const Result<void> written = WriteFile(file, bytes); !written)
        return output.Failed(kRefused,
                             Joined(written.error().message, kSemicolon,
                                    ::geteuid() == 0 ? "" : "this needs root: sudo lumatoctl permit"));
    std::filesystem::permissions(file, std::filesystem::perms{0644}, error);
    const bool applied = ApplyRules();
    output.Result({{"file", kRulesFile}},
                  std::string("installed ") + kRulesFile +
                      (applied ? "" : "; udev could not be told, plug the frame out and in again"));
    return kDone;
}

}  // namespace lumato::cli
