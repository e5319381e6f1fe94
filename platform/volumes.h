// Mounted volumes: the frame's own is recognised by a file in its root and must be unmounted before the frame
// is driven.
//
// Callable from any thread; an unmounting waits.
#pragma once

#include <string>
#include <vector>

#include "base/error.h"
#include "base/file.h"

namespace lumato::platform {

struct Volume {
    std::string name;  // as shown to people
    Path root;         // where it is mounted
};

class Volumes {
  public:
    virtual ~Volumes() = default;

    [[nodiscard]] virtual std::vector<Volume> List() = 0;

    // Unmounts the volume, waiting until that is done. Errors: Busy (the message names the holder), Refused.
    [[nodiscard]] virtual Result<void> Eject(const Volume& volume) = 0;
};

}  // namespace lumato::platform
