// The completions of three shells.
#include <functional>
#include <iostream>

#include "tools/manual/tables.h"

namespace lumato::manual {
namespace {

std::string Quoted(const std::string& text) {
    return "'" + Replaced(text, {{'\'', "'\\''"}}) + "'";
}

std::string Joined(const std::vector<const CLI::Option*>& options, const std::string& between,
                   const std::function<bool(const CLI::Option&)>& wanted) {
    std::string joined;
    for (const CLI::Option* option : options)
        if (wanted(*option))
            joined += (joined.empty() ? "" : between) + LongName(*option);
    return joined;
}

bool Any(const CLI::Option&) {
    return true;
}

std::vector<const CLI::Option*> EveryOption(const CLI::App& app) {
    std::vector<const CLI::Option*> every = OptionsOf(app, false);
    for (const Command& command : AllCommands(app))
        for (const CLI::Option* option : OptionsOf(*command.app, false))
            every.push_back(option);
    return every;
}

void FishOptions(const CLI::App& app, const std::string& condition) {
    for (const CLI::Option* option : OptionsOf(app, false)) {
        std::cout << "complete -c lumatoctl" << condition << " -l " << option->get_lnames().front();
        for (const std::string& name : option->get_snames())
            std::cout << " -s " << name;
        if (TakesValue(*option))
            std::cout << (NamesFile(option->get_type_name()) ? " -r -F" : " -x");
        std::cout << " -d " << Quoted(Replaced(option->get_description(), {{'\\', "\\\\"}})) << "\n";
    }
}

// What stands before the current word: an option whose value it is, and the command.
void BashWords(const CLI::App& app) {
    const std::vector<const CLI::Option*> every = EveryOption(app);
    const auto file = [](const CLI::Option& option) {
        return TakesValue(option) && NamesFile(option.get_type_name());
    };
    const auto other = [](const CLI::Option& option) {
        return TakesValue(option) && !NamesFile(option.get_type_name());
    };
    std::cout
        << "# bash completion of lumatoctl\n\n_lumatoctl() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} command= options= files= word skip=\n"
           "    COMPREPLY=()\n"
           "    case ${COMP_WORDS[COMP_CWORD-1]} in\n"
           "        "
        << Joined(every, "|", file)
        << ")\n"
           "            compopt -o filenames\n"
           "            mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "            return ;;\n"
           "        "
        << Joined(every, "|", other)
        << ") return ;;\n"
           "    esac\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        if [ \"$word\" = = ]; then skip=1; continue; fi  # --home=DIR comes as three words\n"
           "        if [ -n \"$skip\" ]; then skip=; continue; fi\n"
           "        case $word in\n"
           "            "
        << Joined(every, "|", TakesValue)
        << ") skip=1 ;;\n"
           "            -*) ;;\n"
           "            *) case $command in '') command=$word ;; frame) command=\"frame $word\" ;; esac ;;\n"
           "        esac\n"
           "    done\n";
}

// What each command takes.
void BashCommands(const CLI::App& app) {
    std::cout << "    case $command in\n";
    std::string top;
    for (const CLI::App* command : CommandsOf(app))
        top += (top.empty() ? "" : " ") + command->get_name();
    std::cout << "        '') options='" << top << "' ;;\n";
    for (const CLI::App* command : CommandsOf(app)) {
        std::string members;
        for (const CLI::App* member : CommandsOf(*command))
            members += (members.empty() ? "" : " ") + member->get_name();
        if (!members.empty())
            std::cout << "        " << command->get_name() << ") options='" << members << "' ;;\n";
    }
    for (const Command& command : AllCommands(app))
        std::cout << "        " << Quoted(command.name) << ") options='"
                  << Joined(OptionsOf(*command.app, false), " ", Any) << "'"
                  << (TakesFiles(*command.app) ? " files=1" : "") << " ;;\n";
    std::cout << "    esac\n";
}

}  // namespace

void Bash(const CLI::App& app) {
    BashWords(app);
    BashCommands(app);
    std::cout << "    if [[ $current == -* || -z $files ]]; then\n"
                 "        [[ $current != -* ]] || options+=' "
              << Joined(OptionsOf(app, false), " ", Any)
              << "'\n"
                 "        mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$current\")\n"
                 "    else\n"
                 "        compopt -o filenames\n"
                 "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
                 "    fi\n"
                 "}\n"
                 "complete -F _lumatoctl lumatoctl\n";
}

std::string ZshOption(const CLI::Option& option) {
    const std::string text = Replaced(option.get_description(), {{'[', "\\["}, {']', "\\]"}, {'\\', "\\\\"}});
    std::string entry = LongName(option) + "[" + text + "]";
    if (TakesValue(option))
        entry += ":" + Replaced(option.get_type_name(), {{':', "\\:"}}) + ":" +
                 (NamesFile(option.get_type_name()) ? "_files" : " ");
    return (option.get_expected_max() > 1 ? "'*'" : "") + Quoted(entry);
}

void Zsh(const CLI::App& app) {
    const auto describe = [](const std::string& name, const CLI::App& of) {
        std::cout << "    local -a " << name << "=(\n";
        for (const CLI::App* command : CommandsOf(of))
            std::cout << "        " << Quoted(command->get_name() + ":" + command->get_description()) << "\n";
        std::cout << "    )\n";
    };
    std::cout << "#compdef lumatoctl\n\n_lumatoctl() {\n    local -a general=(\n";
    for (const CLI::Option* option : OptionsOf(app, false))
        std::cout << "        " << ZshOption(*option) << "\n";
    std::cout << "    )\n";
    describe("commands", app);
    for (const CLI::App* command : CommandsOf(app))
        if (!CommandsOf(*command).empty())
            describe(command->get_name() + "_commands", *command);
    std::cout << "    local context state line command\n    local -A opt_args\n"
                 "    _arguments -C $general '1: :->command' '*:: :->arguments' && return\n"
                 "    if [[ $state == command ]]; then\n"
                 "        _describe command commands\n        return\n    fi\n"
                 "    command=$words[1]\n"
                 "    if [[ $command == frame ]]; then\n"
                 "        if (( CURRENT == 2 )); then\n            _describe command frame_commands\n"
                 "            return\n        fi\n"
                 "        shift words\n        (( CURRENT-- ))\n        command=\"frame $words[1]\"\n    fi\n"
                 "    case $command in\n";
    for (const Command& command : AllCommands(app)) {
        std::cout << "        " << Quoted(command.name) << ")\n            _arguments $general";
        for (const CLI::Option* option : OptionsOf(*command.app, false))
            if (option != command.app->get_help_ptr())
                std::cout << " \\\n                " << ZshOption(*option);
        if (TakesFiles(*command.app))
            std::cout << " \\\n                '*:file:_files'";
        std::cout << " ;;\n";
    }
    std::cout << "    esac\n}\n\n_lumatoctl \"$@\"\n";
}

void Fish(const CLI::App& app) {
    std::string top;
    for (const CLI::App* command : CommandsOf(app))
        top += " " + command->get_name();
    std::cout << "# fish completion of lumatoctl\n\ncomplete -c lumatoctl -f\n";
    FishOptions(app, "");
    for (const CLI::App* command : CommandsOf(app)) {
        std::cout << "complete -c lumatoctl -n 'not __fish_seen_subcommand_from" << top << "' -a "
                  << command->get_name() << " -d " << Quoted(command->get_description()) << "\n";
        for (const CLI::App* member : CommandsOf(*command)) {
            std::string members;
            for (const CLI::App* other : CommandsOf(*command))
                members += " " + other->get_name();
            std::cout << "complete -c lumatoctl -n '__fish_seen_subcommand_from " << command->get_name()
                      << "; and not __fish_seen_subcommand_from" << members << "' -a " << member->get_name()
                      << " -d " << Quoted(member->get_description()) << "\n";
        }
    }
    for (const Command& command : AllCommands(app)) {
        std::string condition;
        std::string words = command.name + " ";
        for (std::size_t from = 0; from < words.size(); from = words.find(' ', from) + 1)
            condition += (from > 0 ? "; and " : "") + std::string("__fish_seen_subcommand_from ") +
                         words.substr(from, words.find(' ', from) - from);
        condition = " -n '" + condition + "'";
        FishOptions(*command.app, condition);
        if (TakesFiles(*command.app))
            std::cout << "complete -c lumatoctl" << condition << " -F\n";
    }
}

}  // namespace lumato::manual
