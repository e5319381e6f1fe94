// The whole command line as the library holds it: what ParseArguments() reads by, what --help prints, and
// what the manual page and the shells' completions are made from.
//
// Main thread only.
#pragma once

#include <CLI/CLI.hpp>

#include "cli/arguments.h"

namespace lumato::cli {

// `arguments` must live as long as `app` parses.
void DefineCommandLine(CLI::App& app, Arguments& arguments);

}  // namespace lumato::cli
