#include "cli/confirm.h"

#include <cstdio>
#include <iostream>

#include <unistd.h>

namespace lumato::cli {

bool Confirmed(const Arguments& arguments, TerminalStatus& status, const std::string& question) {
    if (arguments.yes || arguments.dryRun || ::isatty(STDIN_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0)
        return true;
    status.ClearBar();
    std::fprintf(stderr, "%s [y/N] ", question.c_str());
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace lumato::cli
