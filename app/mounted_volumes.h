// The mounted file systems that a person would call a disk, for the disk browser.
//
// Main thread only.
#pragma once

#include "platform/volumes.h"

namespace lumato::app {

class MountedVolumes : public platform::Volumes {
  public:
    [[nodiscard]] std::vector<platform::Volume> List() override;
    // Unmounting is the desktop's: always Refused, with what to do.
    [[nodiscard]] Result<void> Eject(const platform::Volume& volume) override;
};

}  // namespace lumato::app
