// What the command line's tables say, in the words that pages and completions want.
//
// No state; main thread only.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cli/command_line.h"

namespace lumato::manual {

struct Command {
    std::string name;  // "add", "frame new"
    const CLI::App* app;
};

inline std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

// Those that do something: of a group of commands, its members.
inline std::vector<Command> AllCommands(const CLI::App& app, const std::string& before = {}) {
    std::vector<Command> all;
    for (const CLI::App* command : CommandsOf(app)) {
        const std::string name = before + command->get_name();
        if (CommandsOf(*command).empty())
            all.push_back({name, command});
        for (const Command& member : AllCommands(*command, name + " "))
            all.push_back(member);
    }
    return all;
}

inline std::vector<const CLI::Option*> OptionsOf(const CLI::App& app, bool positional) {
    return app.get_options([positional](const CLI::Option* option) {
        return (option->get_positional() || option->nonpositional()) &&
               option->get_positional() == positional;
    });
}

inline bool TakesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

inline std::string LongName(const CLI::Option& option) {
    return "--" + option.get_lnames().front();
}

inline bool NamesFile(std::string_view kind) {
    for (const std::string_view known :
         {"FILE", "DIR", "PATH", "BACKUP", "DUMP", "PICTURE", "BITMAP", "STREAM", "PNG", "REPORT"})
        if (kind == known)
            return true;
    return false;
}

inline bool TakesFiles(const CLI::App& app) {
    for (const CLI::Option* option : OptionsOf(app, true))
        if (NamesFile(option->get_name(true)))
            return true;
    return false;
}

inline std::string Replaced(std::string text, const std::map<char, std::string>& by) {
    std::string out;
    for (const char c : text)
        out += by.contains(c) ? by.at(c) : std::string(1, c);
    return out;
}

// To standard output.
void ManualPage(const CLI::App& app, const std::string& version, const std::string& date);
void WindowPage(const std::string& version,
                const std::string& date);  // from standard input: what its --help prints
void Bash(const CLI::App& app);
void Zsh(const CLI::App& app);
void Fish(const CLI::App& app);

}  // namespace lumato::manual
