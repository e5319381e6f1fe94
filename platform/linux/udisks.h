// Unmounting through the desktop's disk service, which lets a user without root's rights unmount what was
// mounted for him.
//
// No state; callable from any thread.
#pragma once

#include <chrono>
#include <string>

#include "base/error.h"

namespace lumato::platform {

// Longer than a desktop takes to write out what a stick has not got yet.
inline constexpr std::chrono::milliseconds kUnmountLimit{20000};

// `device`: "/dev/sdb1". Waits for the service, `limit` at most. Errors: NotFound (there is no such service),
// Gone (there is no such volume), Busy, Refused; the message is the service's own.
[[nodiscard]] Result<void> UnmountByService(const std::string& device,
                                            std::chrono::milliseconds limit = kUnmountLimit);

}  // namespace lumato::platform
