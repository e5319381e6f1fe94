// Where the program keeps its files, after the XDG base directory specification. No state; any thread.
#pragma once

#include <optional>

#include "base/file.h"

namespace lumato::platform {

// The resources folder (Language.ini, data/, Edata/): `home` if given, else $XDG_DATA_HOME/lumato, else
// ~/.local/share/lumato. Not created here.
[[nodiscard]] Path ResourcesFolder(const std::optional<Path>& home);

// Log, window state, recovery: state/ in the folder `home` names, else $XDG_STATE_HOME/lumato, else
// ~/.local/state/lumato. Not created here.
[[nodiscard]] Path StateFolder(const std::optional<Path>& home);

}  // namespace lumato::platform
