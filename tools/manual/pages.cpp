// Manual pages.
#include <algorithm>
#include <iostream>
#include <sstream>

#include "tools/manual/tables.h"

namespace lumato::manual {
namespace {

std::string Escaped(const std::string& text) {
    return Replaced(
        text, {{'\\', "\\e"}, {'-', "\\-"}, {'`', "\\(ga"}, {'\'', "\\(aq"}, {'~', "\\(ti"}, {'^', "\\(ha"}});
}

// What fits a line of the source ends there. A line of text is no request, whatever it begins with.
void Line(const std::string& text) {
    constexpr std::size_t kWidth = 80;
    std::istringstream words(text);
    std::string line;
    const auto end = [&line] {
        std::cout << (line.starts_with('.') ? "\\&" : "") << line << "\n";
        line.clear();
    };
    for (std::string word; words >> word;) {
        const std::string next = Escaped(word);
        if (!line.empty() && line.size() + 1 + next.size() > kWidth)
            end();
        line += (line.empty() ? "" : " ") + next;
    }
    end();
}

// Lines that are indented are calls to type, and stay as they are; what stands between blank lines is a
// paragraph.
void Footer(const std::string& text) {
    bool literal = false;
    bool paragraph = false;  // has begun
    std::size_t from = 0;
    while (from < text.size()) {
        const std::size_t end = std::min(text.find('\n', from), text.size());
        const std::string line = text.substr(from, end - from);
        from = end + 1;
        const bool indented = line.starts_with("  ");
        if (indented != literal)
            std::cout << (indented ? ".PP\n.RS 4\n.nf\n" : ".fi\n.RE\n");
        if (indented != literal || line.empty())
            paragraph = false;
        literal = indented;
        if (line.empty())
            continue;
        if (!literal && !paragraph)
            std::cout << ".PP\n";
        paragraph = true;
        if (indented)
            std::cout << "\\&" << Escaped(line.substr(2)) << "\n";
        else
            Line(line);
    }
    if (literal)
        std::cout << ".fi\n.RE\n";
}

void OptionEntry(const CLI::Option& option) {
    std::cout << ".TP\n";
    if (option.get_positional()) {
        std::cout << "\\fI" << Escaped(option.get_name(true)) << "\\fR\n";
    } else {
        std::string names;
        for (const std::string& name : option.get_snames())
            names += "\\fB\\-" + name + "\\fR, ";
        for (const std::string& name : option.get_lnames())
            names += "\\fB" + Escaped("--" + name) + "\\fR";
        if (TakesValue(option))
            names += " \\fI" + Escaped(option.get_type_name()) + "\\fR";
        std::cout << names << "\n";
    }
    Line(option.get_description());
}

void Options(const CLI::App& app) {
    for (const bool positional : {true, false}) {
        std::string group = "Options";
        for (const CLI::Option* option : OptionsOf(app, positional)) {
            if (!positional && option->get_group() != group) {
                group = option->get_group();
                std::cout << ".PP\n";
                Line(group + ":");
            }
            OptionEntry(*option);
        }
    }
}

void CommandSection(const Command& command) {
    std::cout << ".SS " << Escaped(command.name) << "\n";
    std::string usage = "\\fBlumatoctl " + Escaped(command.name) + "\\fR [\\fIOPTIONS\\fR]";
    for (const CLI::Option* option : OptionsOf(*command.app, true)) {
        std::string name = "\\fI" + Escaped(option->get_name(true)) + "\\fR";
        if (option->get_expected_max() > 1)
            name += "...";
        usage += option->get_required() ? " " + name : " [" + name + "]";
    }
    std::cout << usage << "\n.PP\n";
    Line(command.app->get_description());
    Options(*command.app);
    std::string footer = command.app->get_footer();
    footer.erase(std::min(footer.rfind("The options of `lumatoctl --help`"), footer.size()));
    Footer(footer);
}

void Head(const std::string& name, const std::string& what, const std::string& version,
          const std::string& date) {
    std::cout << ".\\\" Made from what --help prints; changes go there.\n.TH " << name << " 1 " << date
              << " \"Lumato " << version << "\" \"User Commands\"\n.SH NAME\n"
              << what << "\n.SH SYNOPSIS\n";
}

}  // namespace

void ManualPage(const CLI::App& app, const std::string& version, const std::string& date) {
    Head("LUMATOCTL", "lumatoctl \\- manage the pictures of a USB digital photo frame", version, date);
    std::cout << ".B lumatoctl\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n.SH DESCRIPTION\n";
    Line(app.get_description());
    Footer(app.get_footer());
    std::cout << ".SH OPTIONS\nThey go with every command, before or after it.\n";
    Options(app);
    std::cout << ".SH COMMANDS\n";
    for (const Command& command : AllCommands(app))
        CommandSection(command);
    std::cout << ".SH SEE ALSO\n.BR lumato (1),\n.BR lumato\\-frame (5)\n";
}

// Qt prints a name and, from one column on, what it is for; long texts go on below in that column.
void WindowPage(const std::string& version, const std::string& date) {
    Head("LUMATO", "lumato \\- the window that manages the pictures of a USB digital photo frame", version,
         date);
    std::cout << ".B lumato\n[\\fIOPTIONS\\fR] [\\fIFILES\\fR...]\n.SH DESCRIPTION\n";
    for (std::string line; std::getline(std::cin, line);) {
        const std::size_t end = line.find("  ", 2);
        if (line.empty() || line.starts_with("Usage:"))
            continue;
        if (!line.starts_with("  "))
            std::cout << (line.ends_with(':') ? ".SH " + line.substr(0, line.size() - 1) + "\n"
                                              : Escaped(line) + "\n");
        else if (end == 2)
            Line(line.substr(line.find_first_not_of(' ')));
        else if (end == std::string::npos)
            std::cout << ".TP\n\\fB" << Escaped(line.substr(2)) << "\\fR\n";
        else {
            std::cout << ".TP\n\\fB" << Escaped(line.substr(2, end - 2)) << "\\fR\n";
            Line(line.substr(line.find_first_not_of(' ', end)));
        }
    }
    std::cout
        << ".PP\nOptions of Qt's own, such as \\fB\\-platform\\fR and \\fB\\-style\\fR, are taken, too.\n"
           ".SH SEE ALSO\n.BR lumatoctl (1),\n.BR lumato\\-frame (5)\n";
}

}  // namespace lumato::manual
