#include "platform/linux/mounted_volumes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>

#include <sys/mount.h>
#include <unistd.h>

#include "base/printable.h"
#include "platform/linux/file_holders.h"
#include "platform/linux/mount_table.h"
#include "platform/linux/udisks.h"

namespace lumato::platform {
namespace {

// Places of the system's own file systems, which nobody keeps pictures on.
constexpr std::array<std::string_view, 6> kSystemPlaces = {"/boot", "/efi", "/snap", "/var", "/usr", "/etc"};

bool LiesIn(const Path& path, const Path& folder) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

bool IsSystemPlace(const Path& root) {
    return std::ranges::any_of(kSystemPlaces, [&](std::string_view place) { return LiesIn(root, place); });
}

Path HomeFolder() {
    const char* home = std::getenv("HOME");
    return home == nullptr ? Path() : Path(home);
}

std::vector<Mount> ReadMounts(const Path& table) {
    const Result<std::vector<std::uint8_t>> bytes = ReadPlainFile(table);
    if (!bytes)
        return {};
    return ParseMountTable({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
}

Result<void> UnmountPlainly(const Path& root) {
    if (::umount2(root.c_str(), UMOUNT_NOFOLLOW) == 0 || errno == EINVAL)  // EINVAL: no longer mounted
        return {};
    return Fail(errno == EBUSY ? ErrorKind::Busy : ErrorKind::Refused, SystemMessage(errno));
}

// Through the disk service, which needs no rights; where there is none, by root alone.
Result<void> Unmount(const std::string& device, const Path& root) {
    // The service knows devices by their own names, not by links to them such as /dev/disk/by-label/FRAME.
    std::error_code error;
    const Path node = std::filesystem::canonical(device, error);
    Result<void> done = UnmountByService(error ? device : node.string());
    const bool noService = !done && done.error().kind == ErrorKind::NotFound;
    if (!noService)
        return done;
    if (::geteuid() == 0)
        return UnmountPlainly(root);
    return Fail(ErrorKind::Refused, Phrase("NO_DISK_SERVICE",
                                           "there is no disk service (udisks2) to unmount it; `sudo umount "
                                           "{0}` does",
                                           Printable(root.string())));
}

}  // namespace

MountedVolumes::MountedVolumes() : MountedVolumes("/proc/self/mountinfo", HomeFolder(), Unmount) {}

MountedVolumes::MountedVolumes(Path mountTable, Path home, Unmounter unmount)
    : m_mountTable(std::move(mountTable)), m_home(std::move(home)), m_unmount(std::move(unmount)) {}

std::vector<Volume> MountedVolumes::List() {
    std::vector<Volume> volumes;
    for (const Mount& mount : ReadMounts(m_mountTable)) {
        if (!IsSystemPlace(mount.root))
            volumes.push_back({.name = mount.root.has_relative_path() ? mount.root.filename().string() : "/",
                               .root = mount.root});
    }
    const bool homeListed = std::ranges::any_of(volumes, [&](const Volume& v) { return v.root == m_home; });
    if (!m_home.empty() && !homeListed)
        volumes.push_back({.name = m_home.filename().string(), .root = m_home});
    return volumes;
}

Result<void> MountedVolumes::Eject(const Volume& volume) {
    const std::string name = Printable(volume.name);
    if (!volume.root.has_relative_path() || LiesIn(m_home, volume.root))
        return Fail(
            ErrorKind::Refused,
            About(name, Phrase("SYSTEM_LIVES_THERE", "the system itself lives there, it is not unmounted")));
    const std::vector<Mount> mounts = ReadMounts(m_mountTable);
    const auto mount = std::ranges::find(mounts, volume.root, &Mount::root);
    if (mount == mounts.end())
        return Fail(ErrorKind::NotFound, About(name, Phrase("NOT_MOUNTED", "not mounted")));
    const Result<void> done = m_unmount(mount->source, mount->root);
    if (done)
        return {};
    if (done.error().kind == ErrorKind::Busy)
        return Fail(ErrorKind::Busy, About(name, Phrase(kCloseAndPlugIn, InUseBy(volume.root))));
    return Fail(done.error().kind, About(name, done.error().message));
}

}  // namespace lumato::platform
