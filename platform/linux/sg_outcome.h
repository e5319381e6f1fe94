// What the kernel says of a command sent through its SCSI generic driver, as our outcome. The one place that
// knows its error numbers, host and driver statuses and sense data.
//
// No state; callable from any thread.
#pragma once

#include <string>

#include <scsi/sg.h>

#include "platform/scsi.h"

namespace lumato::platform {

// What became of the device itself.
enum class Presence {
    Present,
    Doubtful,  // the command failed on its way, which is also how a removal begins
    Gone,      // it does not answer any more: unplugged, or given up by the kernel
};

struct SgReport {
    ScsiOutcome outcome;
    Presence presence = Presence::Present;
};

// `error`: errno of the ioctl, 0 when it returned 0; only then is `header` looked at. The most serious fault
// counts: the call, the host adapter, the driver, the device.
[[nodiscard]] SgReport ReportOf(int error, const sg_io_hdr_t& header);

// "sense 5/20/00 (ILLEGAL REQUEST)" of fixed or descriptor format sense data (SPC-4, 4.5); empty without any.
[[nodiscard]] std::string SenseText(ByteSpan sense);

}  // namespace lumato::platform
