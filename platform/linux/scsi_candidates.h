// The SCSI devices on USB that may be a frame, as sysfs shows them. Nothing is sent to any device.
//
// No state; callable from any thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/file.h"

namespace lumato::platform {

// A frame presents itself as a disk or as a writer of discs (SPC-4, 6.4.2: peripheral device types).
inline constexpr int kScsiDisk = 0;
inline constexpr int kScsiDiscWriter = 5;

struct ScsiCandidate {
    Path sysPath;         // of the SCSI device, links resolved: no two devices share it
    std::string generic;  // "sg1"; empty when the kernel's module sg is not loaded
    int type = kScsiDisk;
    std::string vendor;  // as the device told the kernel, without trailing blanks
    std::string model;
    std::string serial = {};  // "vendor:product serial" of its USB device; empty when it states no serial
};

// The candidate at this device folder of sysfs; none when it is of another type or not on USB.
[[nodiscard]] std::optional<ScsiCandidate> ReadCandidate(const Path& deviceFolder);

// All of them, by name. `sysRoot` is "/sys" but in tests.
[[nodiscard]] std::vector<ScsiCandidate> FindCandidates(const Path& sysRoot);

// False when the kernel's module sg is not loaded, so that no device has a generic node.
[[nodiscard]] bool GenericDriverIsLoaded(const Path& sysRoot);

// True while the kernel still looks at a storage device on USB: it has found its interface, and no SCSI
// device behind it yet. That takes a second from the plug on.
[[nodiscard]] bool StorageIsSettling(const Path& sysRoot);

}  // namespace lumato::platform
