// Makes the manual page and the shells' completions of lumatoctl from the very tables that its --help is
// printed from, and the window's page from what its --help prints:
//
//     make_manual man|bash|zsh|fish OUT VERSION DATE
//     make_manual window OUT VERSION DATE <HELP
#include <cstdio>
#include <functional>
#include <iostream>

#include "tools/manual/tables.h"

namespace lumato::manual {
namespace {

int Run(const std::vector<std::string>& words) {
    if (words.size() != 5)
        return 2;
    cli::Arguments arguments;
    CLI::App app;
    cli::DefineCommandLine(app, arguments);
    const std::map<std::string, std::function<void()>> makers{
        {"man", [&] { ManualPage(app, words[3], words[4]); }},
        {"window", [&] { WindowPage(words[3], words[4]); }},
        {"bash", [&] { Bash(app); }},
        {"zsh", [&] { Zsh(app); }},
        {"fish", [&] { Fish(app); }},
    };
    const auto maker = makers.find(words[1]);
    if (maker == makers.end())
        return 2;
    if (std::freopen(words[2].c_str(), "w", stdout) == nullptr)
        return 1;
    maker->second();
    return std::cout.flush() ? 0 : 1;
}

}  // namespace
}  // namespace lumato::manual

int main(int argc, char** argv) {
    const int status = lumato::manual::Run({argv, argv + argc});
    if (status == 2)
        std::fputs("usage: make_manual man|bash|zsh|fish|window OUT VERSION DATE\n", stderr);
    return status;
}
