// One SCSI exchange with its diagnostic: what vendor commands and the identification INQUIRY have in common;
// and that INQUIRY.
//
// No state; called by the thread that owns the device at that moment.
#pragma once

#include <string_view>

#include "device/attached_frame.h"
#include "platform/scsi.h"

namespace lumato::device {

// Carries out the request. True only for a command that was executed and ended with status GOOD. Data that
// the device does not send read as 0. A failed execution prints `executionError`.
bool Exchange(platform::ScsiDevice& device, const platform::ScsiRequest& request,
              std::string_view executionError);

// True when the device identifies itself as a frame of the family; `model`, if given, is then what it says.
bool AnswersAsFrame(platform::ScsiDevice& device, FrameModel* model = nullptr);

}  // namespace lumato::device
