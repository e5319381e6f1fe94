// The link's open device, for a command: the reference that keeps it from being freed meanwhile.
//
// Callable from any thread.
#pragma once

#include <memory>

#include "platform/scsi.h"

namespace lumato::device {

// Null when there is none.
[[nodiscard]] std::shared_ptr<platform::ScsiDevice> OpenDevice();

// To be called after a command. From a device that is gone on, nobody starts further work; the main thread
// takes the frame offline when the bus reports the detachment. A device that has been replaced meanwhile says
// nothing about its successor.
void NoteIfGone(const std::shared_ptr<platform::ScsiDevice>& device);

}  // namespace lumato::device
