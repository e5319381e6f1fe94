#include "app/mounted_volumes.h"

#include <QStorageInfo>

#include "app/texts.h"

namespace lumato::app {
namespace {

// Where desktops and people mount disks; what stands elsewhere belongs to the system.
bool IsForPeople(const QString& root) {
    for (const char* folder : {"/media/", "/run/media/", "/mnt/"}) {
        if (root.startsWith(QLatin1String(folder)))
            return true;
    }
    return root == QLatin1String("/mnt");
}

}  // namespace

std::vector<platform::Volume> MountedVolumes::List() {
    std::vector<platform::Volume> volumes;
    const QList<QStorageInfo> mounted = QStorageInfo::mountedVolumes();
    for (const QStorageInfo& volume : mounted) {
        if (volume.isValid() && volume.isReady() && IsForPeople(volume.rootPath()))
            volumes.push_back({volume.displayName().toStdString(), PathOf(volume.rootPath())});
    }
    return volumes;
}

Result<void> MountedVolumes::Eject(const platform::Volume& volume) {
    return Fail(ErrorKind::Refused, volume.name + ": unmount it in the file manager, then plug it in again");
}

}  // namespace lumato::app
