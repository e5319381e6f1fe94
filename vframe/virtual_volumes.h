// Mounted volumes for tests and trials: the frame's own and an ordinary one, as folders below one that the
// caller gives.
//
// Main thread only.
#pragma once

#include <string>
#include <vector>

#include "platform/volumes.h"

namespace lumato::vframe {

class VirtualVolumes : public platform::Volumes {
  public:
    // Makes the two volumes in the existing folder `folder`: "LUMATO" with "LanguageUnicode.ini" in its root
    // and "Pictures" without, both mounted. Errors: those of writing files.
    [[nodiscard]] static Result<VirtualVolumes> Create(const Path& folder);

    [[nodiscard]] std::vector<platform::Volume> List() override;
    // Takes the volume off the list. Busy when somebody holds it; NotFound when it is not mounted.
    [[nodiscard]] Result<void> Eject(const platform::Volume& volume) override;

    // Mounts the frame's volume again, as plugging it in does.
    void Mount();
    // From now on `program` keeps every volume from being ejected; nobody does with an empty name.
    void HoldBy(std::string program) { m_holder = std::move(program); }

  private:
    explicit VirtualVolumes(Path folder) : m_folder(std::move(folder)) {}

    Path m_folder;
    std::vector<std::string> m_mounted;
    std::string m_holder;
};

}  // namespace lumato::vframe
