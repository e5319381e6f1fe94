// What keeps a call from destroying what it reads. The parser marks each name that a command reads or writes
// (AddInput, AddOutput); these checks hold for all commands alike and come before anything is opened.
//
// Looks at names only, changes nothing. Main thread.
#pragma once

#include <tl/expected.hpp>

#include "cli/arguments.h"
#include "cli/output.h"

namespace lumato::cli {

// Wrong usage: an output that is an input, the frame, another output or a disk, or that lies where we keep
// things or would clear it away: in the state folder, or in the home's data or Edata.
[[nodiscard]] tl::expected<void, Failure> CheckOutputs(const Arguments& arguments);

// Wrong usage: an input or the frame lies in the home's data or Edata, which connecting empties.
[[nodiscard]] tl::expected<void, Failure> CheckInputsOfConnecting(const Arguments& arguments);

}  // namespace lumato::cli
