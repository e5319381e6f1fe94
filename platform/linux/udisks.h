// Unmounting through the desktop's disk service, which lets a user without root's rights unmount what was
// mounted for him.
//
// No state; callable from any thread. Waits for the service, 20 s at most.
#pragma once

#include <string>

#include "base/error.h"

namespace lumato::platform {

// `device`: "/dev/sdb1". Errors: NotFound (there is no such service), Busy, Refused; the message is the
// service's own.
[[nodiscard]] Result<void> UnmountByService(const std::string& device);

}  // namespace lumato::platform
