#include "completion.h"

#include <algorithm>
#include <string>
#include <vector>

#include "closest_name.h"
#include "option_checks.h"
#include "option_list.h"

namespace options {
namespace {

// What can stand at a place of the command line. Words as W:a b c, files as F:.ini (F: of any kind), folders as D:.
std::string offerFor(CLI::Option& option) {
    if (const auto words = offeredWords(option); !words.empty()) {
        std::string text = "W:";
        for (const std::string& word : words) text += (text.size() > 2 ? " " : "") + word;
        return text;
    }
    const std::string type = option.get_type_name().empty() ? option.get_option_text() : option.get_type_name();
    if (type.starts_with("FILE")) return "F:" + type.substr(4);
    if (type.starts_with("PATH")) return "F:";
    return type.starts_with("DIR") ? "D:" : "";
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

struct Place {
    std::vector<std::string> befores;  // "grab --format": what stands before it
    std::string offer;
};

struct Command {
    std::string name;                // empty: the program itself
    std::vector<std::string> words;  // options, and commands of the program
    std::string operand;             // what can stand there without an option before it
    std::vector<Place> places;
};

Command commandOf(CLI::App& app, CLI::App& command) {
    Command result{commandName(app, command), {}, {}, {}};
    for (CLI::Option* option : command.get_options([](CLI::Option*) { return true; })) {
        const auto names = namesOf(*option);
        result.words.insert(result.words.end(), names.begin(), names.end());
        if (names.empty() && result.operand.empty()) result.operand = offerFor(*option);
        if (names.empty() || option->get_items_expected_max() == 0) continue;
        Place place{{}, offerFor(*option)};
        for (const std::string& name : names) place.befores.push_back(result.name + " " + name);
        result.places.push_back(std::move(place));
    }
    for (const CLI::App* inner : shownCommandsOf(command)) result.words.push_back(inner->get_name());
    return result;
}

std::vector<Command> commandsFor(CLI::App& app) {
    std::vector<Command> commands{commandOf(app, app)};
    for (CLI::App* command : shownCommandsOf(app)) commands.push_back(commandOf(app, *command));
    return commands;
}

std::string joined(const std::vector<std::string>& words, const char* between, const char* quote) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + (quote + word + quote);
    return text;
}

constexpr const char* kBashHead =
    R"bash(    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command="" offer=none words="" operand="" word
    # bash takes --option=value for three words, and drop@5 too.
    if [ "$current" = "=" ]; then
        current=
    elif [ "$previous" = "=" ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    COMPREPLY=()
    [[ $previous != [@:] ]] || return 0
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        case "$word" in
)bash";

constexpr const char* kBashTail = R"bash(    if [ "$offer" = none ]; then
        offer="W:$words"
        [[ $current == -* || -z $operand ]] || offer=$operand
    fi
    case "$offer" in
        W:*) mapfile -t COMPREPLY < <(compgen -W "${offer#W:}" -- "$current") ;;
        D:) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
        F:*) mapfile -t COMPREPLY < <({ compgen -f -X "!*${offer#F:}" -- "$current"; compgen -d -- "$current"; } |
            sort -u)
            # No file has the ending: then any may be meant.
            [ ${#COMPREPLY[@]} -gt 0 ] || mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    esac
    [[ $offer == W:* ]] || compopt -o filenames 2>/dev/null
    return 0
}
)bash";

void printBash(const CLI::App& app, const std::vector<Command>& commands, std::ostream& data) {
    std::string function = "_" + app.get_name();
    std::replace(function.begin(), function.end(), '-', '_');
    data << "# bash completion for " << app.get_name() << "; made by: " << app.get_name() << " config --completion\n"
         << function << "() {\n"
         << kBashHead << "            ";
    for (const Command& command : commands) {
        if (!command.name.empty()) data << (&command == &commands[1] ? "" : " | ") << command.name;
    }
    data << ") command=$word && break ;;\n        esac\n    done\n    case \"$command $previous\" in\n";
    for (const Command& command : commands) {
        for (const Place& place : command.places)
            data << "        " << joined(place.befores, " | ", "\"") << ") offer=\"" << place.offer << "\" ;;\n";
    }
    data << "    esac\n    case \"$command\" in\n";
    for (const Command& command : commands)
        data << "        \"" << command.name << "\") words=\"" << joined(command.words, " ", "") << "\" operand=\""
             << command.operand << "\" ;;\n";
    data << "    esac\n" << kBashTail << "complete -F " << function << ' ' << app.get_name() << std::endl;
}

constexpr const char* kPowerShellHead = R"ps(    param($current, $line, $cursor)
    $typed = @($line.CommandElements | Select-Object -Skip 1 |
        Where-Object { $_.Extent.EndOffset -lt $cursor } | ForEach-Object { $_.ToString() })
    $previous = if ($typed.Count -gt 0) { $typed[-1] } else { '' }
)ps";

constexpr const char* kPowerShellTail = R"ps(    if ($null -eq $offer) {
        $offer = 'W:' + $words
        if ($operand -and -not $current.StartsWith('-')) { $offer = $operand }
    }
    $kind, $what = $offer.Substring(0, [Math]::Min(2, $offer.Length)), $offer.Substring([Math]::Min(2, $offer.Length))
    if ($kind -eq 'W:') {
        $found = $what.Split(' ') | Where-Object { $_ -and $_.StartsWith($current) }
    } elseif ($kind) {
        $folder = Split-Path $current
        $all = @(Get-ChildItem -Path "$current*" -ErrorAction SilentlyContinue)
        $fitting = @($all | Where-Object { $_.PSIsContainer -or ($kind -eq 'F:' -and $_.Name -like "*$what") })
        # No file has the ending: then any may be meant.
        if ($fitting.Count -eq 0 -and $kind -eq 'F:') { $fitting = $all }
        $found = $fitting | ForEach-Object { if ($folder) { Join-Path $folder $_.Name } else { $_.Name } } |
            ForEach-Object { if ($_ -match ' ') { "'$_'" } else { $_ } }
    }
    $found | ForEach-Object {
        [System.Management.Automation.CompletionResult]::new($_, $_, 'ParameterValue', $_)
    }
}
)ps";

// Names are distinguished by case, as in -v and -V.
void printPowerShell(const CLI::App& app, const std::vector<Command>& commands, std::ostream& data) {
    const std::string& name = app.get_name();
    std::vector<std::string> names;
    for (const Command& command : commands) {
        if (!command.name.empty()) names.push_back(command.name);
    }
    data << "# PowerShell completion for " << name << "; made by: " << name << " config --completion powershell\n"
         << "Register-ArgumentCompleter -Native -CommandName '" << name << "', '" << name << ".exe' -ScriptBlock {\n"
         << kPowerShellHead << "    $command = @($typed | Where-Object { $_ -cin @(" << joined(names, ", ", "'")
         << ") })[0]\n    $offer = $null\n    switch -CaseSensitive (\"$command $previous\") {\n";
    for (const Command& command : commands) {
        for (const Place& place : command.places) {
            for (const std::string& before : place.befores)
                data << "        '" << before << "' { $offer = '" << place.offer << "' }\n";
        }
    }
    data << "    }\n    switch -CaseSensitive (\"$command\") {\n";
    for (const Command& command : commands)
        data << "        '" << command.name << "' { $words = '" << joined(command.words, " ", "") << "'; $operand = '"
             << command.operand << "' }\n";
    data << "    }\n" << kPowerShellTail << std::flush;
}

}  // namespace

void printCompletion(CLI::App& app, const std::string& shell, std::ostream& data) {
    const std::vector<Command> commands = commandsFor(app);
    if (shell == kPowerShell) {
        printPowerShell(app, commands, data);
    } else {
        printBash(app, commands, data);
    }
}

}  // namespace options
