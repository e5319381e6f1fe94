// A person at a terminal is asked once more; a script has said what it wants. Main thread.
#pragma once

#include <string>

#include "cli/arguments.h"
#include "cli/terminal_status.h"

namespace lumato::cli {

// Whether it is to be done: without a question for --yes, a dry run, and where nobody could answer.
[[nodiscard]] bool Confirmed(const Arguments& arguments, TerminalStatus& status, const std::string& question);

}  // namespace lumato::cli
