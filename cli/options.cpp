#include "cli/options.h"

namespace lumato::cli {
namespace {

constexpr char kMark = '\x1F';

CLI::Option* AddFile(CLI::App* app, const std::string& name, Arguments& arguments, std::vector<Path>& others,
                     const std::string& help) {
    const auto take = [&arguments, &others, name](const std::string& text) {
        if (text.empty())
            throw CLI::ValidationError(name, "a name is wanted");
        arguments.files.emplace_back(Unmarked(text));
        others.emplace_back(Unmarked(text));
    };
    return app->add_option_function<std::string>(name, take, help)->required()->type_name("");
}

}  // namespace

std::string Marked(std::string word) {
    return word.starts_with('[') || word.starts_with(kMark) ? kMark + word : word;
}

std::string Unmarked(const std::string& word) {
    return word.starts_with(kMark) ? word.substr(1) : word;
}

void AddExamples(CLI::App* app, const std::string& examples) {
    app->footer("Examples:\n" + examples + "\n" + app->get_footer());
}

CLI::App* AddCommand(CLI::App* parent, Arguments& arguments, Command command, const std::string& name,
                     const std::string& help) {
    CLI::App* app = parent->add_subcommand(name, help);
    app->fallthrough();
    app->callback([&arguments, command, name] {
        arguments.command = command;
        arguments.commandName = name;
    });
    return app;
}

Parsed<int> ParsePosition(const std::string& text) {
    return ParseWhole(text, kPositions);
}

std::string PositionWanted() {
    return "a position from " + Text(kPositions);
}

void AddPosition(CLI::App* app, const std::string& name, int& target, const std::string& help) {
    AddParsed(app, name, target, ParsePosition, PositionWanted(), help)->required()->type_name("");
}

CLI::Option* AddSize(CLI::App* app, const std::string& name, Arguments& arguments, const std::string& help) {
    return AddParsed(app, name, arguments.size, ParseSize, "a size such as 320x240 (1 to 65535 a side)", help)
        ->type_name("WxH");
}

CLI::Option* AddInput(CLI::App* app, const std::string& name, Arguments& arguments, const std::string& help) {
    return AddFile(app, name, arguments, arguments.inputs, help);
}

CLI::Option* AddOutput(CLI::App* app, const std::string& name, Arguments& arguments,
                       const std::string& help) {
    return AddFile(app, name, arguments, arguments.outputs, help);
}

CLI::Option* AddFlag(CLI::App* app, const std::string& name, bool& target, const std::string& help) {
    return app->add_flag(name, target, help)->disable_flag_override();
}

CLI::Option* AddSeveral(CLI::App* app, const std::string& name,
                        const std::function<void(const std::string&)>& take, const std::string& help) {
    const auto takeAll = [take](const std::vector<std::string>& texts) {
        for (const std::string& text : texts)
            take(Unmarked(text));
    };
    return app->add_option_function<std::vector<std::string>>(name, takeAll, help);
}

}  // namespace lumato::cli
