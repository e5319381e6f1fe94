// The computer's mounted volumes: disks that a person would call one, and the home folder.
//
// Callable from any thread; an unmounting waits.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/file.h"
#include "platform/volumes.h"

namespace lumato::platform {

class MountedVolumes : public Volumes {
  public:
    // Unmounts the device behind a volume; the errors of UnmountByService.
    using Unmounter = std::function<Result<void>(const std::string& device, const Path& root)>;

    MountedVolumes();
    // For tests.
    MountedVolumes(Path mountTable, Path home, Unmounter unmount);

    [[nodiscard]] std::vector<Volume> List() override;

    // Takes up to 20 s. "/" and the volume with the home folder are Refused.
    [[nodiscard]] Result<void> Eject(const Volume& volume) override;

  private:
    Path m_mountTable;
    Path m_home;
    Unmounter m_unmount;
};

}  // namespace lumato::platform
