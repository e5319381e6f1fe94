// The kinds of options and arguments that commands have, on top of the library's. What it would take too
// freely is read here: each value is the whole word, in its range, and a word that begins with "[" is no
// list.
//
// Main thread only.
#pragma once

#include <functional>
#include <string>
#include <type_traits>

#include <CLI/CLI.hpp>

#include "cli/arguments.h"
#include "cli/values.h"

namespace lumato::cli {

// Several values in a row would have the library take "[a]" for a list of its own; marked it stands as it is.
[[nodiscard]] std::string Marked(std::string word);
[[nodiscard]] std::string Unmarked(const std::string& word);

// The value that `parse` makes of the text; a text that it refuses is wrong usage.
template <class Parse>
auto Checked(const std::string& name, const std::string& text, Parse parse, const std::string& wanted) {
    const auto value = parse(text);
    if (!value)
        throw CLI::ValidationError(name, "\"" + text + "\" is not " + wanted);
    return *value;
}

template <class T, class Parse>
CLI::Option* AddParsed(CLI::App* app, const std::string& name, T& target, Parse parse,
                       const std::string& wanted, const std::string& help) {
    const auto take = [&target, parse, name, wanted](const std::string& text) {
        target = static_cast<T>(Checked(name, Unmarked(text), parse, wanted));
    };
    return app->add_option_function<std::string>(name, take, help);
}

[[nodiscard]] Parsed<int> ParsePosition(const std::string& text);
[[nodiscard]] std::string PositionWanted();

// A whole number, with its range and its default in the help.
template <class T>
CLI::Option* AddNumber(CLI::App* app, const std::string& name, T& target, Range range,
                       const std::string& help) {
    std::string said = Text(range);
    if constexpr (std::is_same_v<T, int>)
        said += "; default " + std::to_string(target);
    return AddParsed(
        app, name, target, [range](const std::string& text) { return ParseWhole(text, range); },
        "a number from " + Text(range), help + " (" + said + ")");
}

// The name of a file or folder. An empty one is a script's variable that was never set.
template <class T>
CLI::Option* AddPath(CLI::App* app, const std::string& name, T& target, const std::string& help) {
    const auto parse = [](const std::string& text) {
        return text.empty() ? std::nullopt : std::optional<Path>(text);
    };
    return AddParsed(app, name, target, parse, "a name", help);
}

template <class T>
CLI::Option* AddText(CLI::App* app, const std::string& name, T& target, const std::string& help) {
    return app->add_option_function<std::string>(
        name, [&target](const std::string& text) { target = Unmarked(text); }, help);
}

CLI::App* AddCommand(CLI::App* parent, Arguments& arguments, Command command, const std::string& name,
                     const std::string& help);
// Before what the help ends with on every command.
void AddExamples(CLI::App* app, const std::string& examples);

// Required: a picture, as `list` counts it.
void AddPosition(CLI::App* app, const std::string& name, int& target, const std::string& help);
CLI::Option* AddSize(CLI::App* app, const std::string& name, Arguments& arguments, const std::string& help);

// A file argument, in `files` and among those that the call reads or writes.
CLI::Option* AddInput(CLI::App* app, const std::string& name, Arguments& arguments, const std::string& help);
CLI::Option* AddOutput(CLI::App* app, const std::string& name, Arguments& arguments, const std::string& help);

// "--json=0" would be the opposite of what it says.
CLI::Option* AddFlag(CLI::App* app, const std::string& name, bool& target, const std::string& help);

// Several values in a row.
CLI::Option* AddSeveral(CLI::App* app, const std::string& name,
                        const std::function<void(const std::string&)>& take, const std::string& help);

}  // namespace lumato::cli
