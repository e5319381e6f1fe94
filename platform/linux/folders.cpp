#include "platform/linux/folders.h"

#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace lumato::platform {
namespace {

Path UserHome() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0')
        return home;
    const passwd* user = ::getpwuid(::getuid());
    return user != nullptr ? user->pw_dir : "/";
}

// A relative path in these variables is to be ignored, after the XDG base directory rules.
Path XdgFolder(const char* variable, const char* fallback) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value == '/')
        return value;
    return UserHome() / fallback;
}

}  // namespace

Path ResourcesFolder(const std::optional<Path>& home) {
    return home ? *home : XdgFolder("XDG_DATA_HOME", ".local/share") / "lumato";
}

Path StateFolder(const std::optional<Path>& home) {
    return home ? *home / "state" : XdgFolder("XDG_STATE_HOME", ".local/state") / "lumato";
}

}  // namespace lumato::platform
