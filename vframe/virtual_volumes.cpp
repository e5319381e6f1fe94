#include "vframe/virtual_volumes.h"

#include <algorithm>
#include <system_error>

#include "base/printable.h"
#include "vframe/volume.h"

namespace lumato::vframe {
namespace {

constexpr const char* kOrdinaryVolume = "Pictures";

Result<void> MakeFolder(const Path& path) {
    std::error_code error;
    std::filesystem::create_directory(path, error);
    if (error)
        return Fail(ErrorKind::Unwritable, About(Printable(path.native()), error.message()));
    return {};
}

}  // namespace

Result<VirtualVolumes> VirtualVolumes::Create(const Path& folder) {
    const Path frameRoot = folder / kVolumeLabel;
    LUMATO_TRY_VOID(MakeFolder(frameRoot));
    LUMATO_TRY_VOID(MakeFolder(folder / kOrdinaryVolume));
    LUMATO_TRY_VOID(WriteFile(frameRoot / kVolumeMarkName, VolumeMarkContent()));
    VirtualVolumes volumes(folder);
    volumes.m_mounted.emplace_back(kOrdinaryVolume);
    volumes.Mount();
    return volumes;
}

std::vector<platform::Volume> VirtualVolumes::List() {
    std::vector<platform::Volume> volumes;
    for (const std::string& name : m_mounted)
        volumes.push_back({name, m_folder / name});
    return volumes;
}

Result<void> VirtualVolumes::Eject(const platform::Volume& volume) {
    const auto mounted = std::find(m_mounted.begin(), m_mounted.end(), volume.name);
    if (mounted == m_mounted.end())
        return Fail(ErrorKind::NotFound, About(volume.name, Phrase("NOT_MOUNTED", "not mounted")));
    if (!m_holder.empty())
        return Fail(ErrorKind::Busy, About(volume.name, Phrase("IN_USE_BY", "in use by {0}", m_holder)));
    m_mounted.erase(mounted);
    return {};
}

void VirtualVolumes::Mount() {
    const std::string name(kVolumeLabel);
    if (std::find(m_mounted.begin(), m_mounted.end(), name) == m_mounted.end())
        m_mounted.push_back(name);
}

}  // namespace lumato::vframe
