// The commands of a trace as text, a line each, and back.
//
//     CD000000000001000040050000000000 in 64 64 00 3 =0300...
//
// The block, the direction of its data phase, the length asked for and the length that moved, the status, how
// many times in a row, and the data: "=" with their bytes, or the first of them, then "~" with a hash and the
// sum of all where that is not all; "*NN" is one byte all through, "-" nothing. "! attached" stands where a
// frame came, "! missing" where commands are left out.
//
// No state; callable from any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "device/command_trace.h"

namespace lumato::report {

[[nodiscard]] std::string TraceText(const std::vector<device::CommandRecord>& records);

// Errors: Damaged; the message names the line, counted from the text's first.
[[nodiscard]] Result<std::vector<device::CommandRecord>> ParseTrace(std::string_view text);

}  // namespace lumato::report
