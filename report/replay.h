// A report's trace once more, against a virtual frame that says the same of itself: where do its answers
// differ from those that were recorded?
//
// Of the recorded frame's flash only that is known which the trace holds: what was read in full, what was
// erased, what was programmed in full. Only known bytes are compared, and sums and hashes of known bytes.
// Whether a flash is still busy is a matter of its pace, and not compared.
//
// No state; callable from any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "device/command_trace.h"

namespace lumato::report {

struct Difference {
    int command = 0;  // counted from 1 over the trace's commands
    std::string what;
};

struct Replayed {
    int commands = 0;  // that were sent
    int compared = 0;  // answers of which more than the status was known
    std::vector<Difference> differences;
};

// The trace of a report, as make_report.h writes it. Errors: Unsupported (no report), Damaged.
[[nodiscard]] Result<std::vector<device::CommandRecord>> TraceOfReport(std::string_view report);

// Errors: Unsupported (there is no frame's information block in the trace, or one that no flash has).
[[nodiscard]] Result<Replayed> Replay(const std::vector<device::CommandRecord>& records);

}  // namespace lumato::report
