// The commands of virtual frames: `frame new`, `frame serve` and `frame render`.
//
// Main thread only.
#pragma once

#include <CLI/CLI.hpp>

#include "cli/arguments.h"

namespace lumato::cli {

void AddVirtualFrameCommands(CLI::App& app, Arguments& arguments);

}  // namespace lumato::cli
