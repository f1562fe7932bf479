#include "completion.h"

#include <algorithm>
#include <string>
#include <vector>

namespace options {
namespace {

// Those that the help shows: a command without a group is for the program alone.
std::vector<CLI::App*> shownCommands(CLI::App& app) {
    return app.get_subcommands([](CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<CLI::App*> allCommands(CLI::App& app) {
    std::vector<CLI::App*> commands{&app};
    for (CLI::App* command : shownCommands(app)) commands.push_back(command);
    return commands;
}

std::string keyOf(const CLI::App& app, const CLI::App& command) { return &app == &command ? "" : command.get_name(); }

// How bash finds what an option can be given, by the name that the help has for its value.
std::string offerFor(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('{');
    const std::size_t close = type.find('}');
    if (open != std::string::npos && close != std::string::npos) {
        std::string words = type.substr(open + 1, close - open - 1);
        std::replace(words.begin(), words.end(), ',', ' ');
        return "-W '" + words + "'";
    }
    if (type.find("DIR") != std::string::npos) return "-d";
    for (const char* name : {"FILE", "PATH", "GLOB"}) {
        if (type.find(name) != std::string::npos) return "-f";
    }
    return "";
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

// "case" arms: after which option of which command which values come.
void printValues(const CLI::App& app, CLI::App& command, std::ostream& data) {
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_items_expected_max() == 0 || namesOf(*option).empty()) continue;
        std::string patterns;
        for (const std::string& name : namesOf(*option))
            patterns += (patterns.empty() ? "\"" : " | \"") + keyOf(app, command) + " " + name + "\"";
        data << "        " << patterns << ") offer=\"" << offerFor(*option) << "\" ;;\n";
    }
}

void printWords(const CLI::App& app, CLI::App& command, std::ostream& data) {
    std::string words;
    std::string files;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : namesOf(*option)) words += name + " ";
        if (namesOf(*option).empty()) files = offerFor(*option);
    }
    for (const CLI::App* inner : shownCommands(command)) words += inner->get_name() + " ";
    if (!words.empty()) words.pop_back();
    data << "        \"" << keyOf(app, command) << "\") words=\"" << words << "\" operand=\"" << files << "\" ;;\n";
}

constexpr const char* kHead = R"bash(    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command="" offer=none words="" operand="" word
    # bash takes --option=value for three words.
    if [ "$current" = "=" ]; then
        current=
    elif [ "$previous" = "=" ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        case "$word" in
)bash";

constexpr const char* kTail = R"bash(    if [ "$offer" = none ]; then
        offer="-W '$words'"
        [[ $current == -* || -z $operand ]] || offer=$operand
    fi
    COMPREPLY=()
    [ -n "$offer" ] || return 0
    [[ $offer == -W* ]] || compopt -o filenames 2>/dev/null
    eval "mapfile -t COMPREPLY < <(compgen $offer -- \"\$current\")"
}
)bash";

}  // namespace

void printCompletion(CLI::App& app, std::ostream& data) {
    std::string function = "_" + app.get_name();
    std::replace(function.begin(), function.end(), '-', '_');
    const std::vector<CLI::App*> commands = allCommands(app);
    data << "# bash completion for " << app.get_name() << "; made by: " << app.get_name() << " config --completion\n"
         << function << "() {\n"
         << kHead << "            ";
    for (const CLI::App* command : commands) {
        if (command != &app) data << (command == commands.at(1) ? "" : " | ") << command->get_name();
    }
    data << ") command=$word && break ;;\n        esac\n    done\n    case \"$command $previous\" in\n";
    for (CLI::App* command : commands) printValues(app, *command, data);
    data << "    esac\n    case \"$command\" in\n";
    for (CLI::App* command : commands) printWords(app, *command, data);
    data << "    esac\n" << kTail << "complete -F " << function << ' ' << app.get_name() << std::endl;
}

}  // namespace options
