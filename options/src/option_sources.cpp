#include "option_sources.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "closest_name.h"
#include "completion.h"
#include "config_show.h"
#include "given_settings.h"
#include "help_format.h"
#include "option_checks.h"
#include "option_list.h"
#include "printable.h"
#include "text_columns.h"
#include "usage_errors.h"
#include "value_checks.h"

namespace options {
namespace {

struct Filling {
    CLI::Option* option;
    const Setting* setting;
};

bool isAmong(const CLI::Option* option, const std::vector<Filling>& fillings) {
    return std::any_of(fillings.begin(), fillings.end(), [&](const Filling& one) { return one.option == option; });
}

// Whether an option can be set together with those that already have a value.
bool goesWith(const CLI::Option& option, const std::vector<Filling>& filled) {
    const auto isSet = [&](const CLI::Option* other) { return other->count() > 0 || isAmong(other, filled); };
    const auto excluded = option.get_excludes();
    const auto needed = option.get_needs();
    return std::none_of(excluded.begin(), excluded.end(), isSet) && std::all_of(needed.begin(), needed.end(), isSet);
}

// The settings that the command line leaves to the other sources, strongest first; an option comes after those that it
// needs.
std::vector<Filling> fillingsFor(const GivenSettings& given, const CLI::App& app, CLI::App& command) {
    std::vector<Filling> wanted;
    for (CLI::Option* option : settableOptions(command)) {
        const Setting* setting = option->count() == 0 ? settingFor(given, app, command, *option) : nullptr;
        if (setting) wanted.push_back({option, setting});
    }
    std::stable_sort(wanted.begin(), wanted.end(),
                     [](const Filling& one, const Filling& other) { return one.setting < other.setting; });
    std::vector<Filling> filled;
    for (bool changed = true; std::exchange(changed, false);) {
        for (const Filling& one : wanted) {
            if (isAmong(one.option, filled) || !goesWith(*one.option, filled)) continue;
            filled.push_back(one);
            changed = true;
        }
    }
    return filled;
}

// Parses again, with the values of the weaker sources first, so that rules between options apply to all of them.
std::optional<int> parseFilled(CLI::App& app, CLI::App& command, const std::vector<Filling>& fillings, int argc,
                               const char* const* argv, std::ostream& people) {
    for (const Filling& filling : fillings) {
        if (const std::string problem = problemOf(*filling.option, *filling.setting); !problem.empty())
            return refuse(app, problem, people);
    }
    command.preparse_callback([&fillings](std::size_t) {
        for (const Filling& filling : fillings) give(*filling.option, *filling.setting);
    });
    std::optional<int> exitCode;
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        exitCode = refuse(app, sentenceFor(error, app), people);
    }
    command.preparse_callback({});
    return exitCode;
}

// What the command line lacks, another source may have; a word that is none of the program's stays wrong.
bool mayBeFilled(const CLI::ParseError& error, const CLI::App& app) {
    return (error.get_name() == "RequiredError" || error.get_name() == "RequiresError") && unknownWords(app).empty();
}

// The last value counts of an option that takes one.
void letTheLastWin(CLI::App& app) {
    for (CLI::App* command : everyCommandOf(app)) {
        for (CLI::Option* option : command->get_options([](CLI::Option* one) { return one->get_expected_max() == 1; }))
            option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    }
}

struct HelpCommand {
    CLI::App* command = nullptr;
    std::string topic;  // empty: the program itself
};

void addHelpCommand(CLI::App& app, HelpCommand& help) {
    const std::string& name = app.get_name();
    help.command = app.add_subcommand(kHelpCommand, "Show the help of the program or of a command");
    help.command->add_option("COMMAND", help.topic, "Command whose help to show (default: the program's own)")
        ->check(offering(commandNamesOf(app), [](const std::string&) { return std::string(); }))
        ->type_name("");
    help.command->footer("Examples:\n  " + name + " help\n  " + name + " help config\n  " + name + " help help\n");
}

int showHelp(CLI::App& app, const HelpCommand& help, std::ostream& data, std::ostream& people) {
    CLI::App* target = help.topic.empty() ? &app : nullptr;
    for (CLI::App* command : shownCommandsOf(app)) {
        if (command->get_name() == help.topic) target = command;
    }
    if (!target) return refuse(app, noSuchName("command", help.topic, commandNamesOf(app)), people);
    const std::string name = app.get_name() + (target == &app ? "" : " " + help.topic);
    data << target->get_formatter()->make_help(target, name, CLI::AppFormatMode::Normal);
    return kDone;
}

struct ConfigCommand {
    CLI::App* command = nullptr;
    bool show = false;
    bool json = false;
    std::vector<std::string> keys;  // empty: all
    std::string shell;              // empty: no completion
};

void addConfigCommand(CLI::App& app, ConfigCommand& config) {
    const std::vector<std::string> keys = keysOf(app);
    config.command = app.add_subcommand(kConfigCommand, "Show each option's value and where it comes from");
    CLI::Option* const show = config.command->add_flag("--show", config.show, "Show the options of all commands");
    config.command
        ->add_option("KEY", config.keys, "With --show: only the options of these names, as in a configuration file")
        ->check(offering(keys,
                         [keys](const std::string& key) {
                             const bool known = std::ranges::find(keys, key) != keys.end();
                             return known ? "" : noSuchName("option", key, keys, "config --show shows all");
                         }))
        ->needs(show)
        ->type_name("");
    config.command->add_flag("--json", config.json, "Print one JSON object on standard output")->needs(show);
    config.command->add_option("--completion", config.shell, "Print the completion for a shell (default: bash)")
        ->expected(0, 1)
        ->default_str(kBash)
        ->check(oneOf({kBash, kPowerShell}))
        ->excludes(show)
        ->type_name("[bash|powershell]");
    config.command->footer(configHelp(app));
}

void setHelpFormat(CLI::App& app, std::size_t columns) {
    const auto format = std::make_shared<HelpFormat>(columns);
    for (CLI::App* const command : everyCommandOf(app)) {
        command->formatter(format);
        command->set_help_flag("-h,--help", "Show this help");
    }
}

int runConfig(CLI::App& app, const ConfigCommand& config, const Surroundings& surroundings, std::ostream& data,
              std::ostream& people) {
    if (!config.shell.empty()) {
        printCompletion(app, config.shell, data);
        return kDone;
    }
    if (!config.show) return refuse(app, "config wants --show or --completion", people);
    GivenSettings given;
    if (const std::string problem = collectSettings(app, surroundings, given); !problem.empty())
        return refuse(app, problem, people);
    const std::string problem =
        showConfig(app, given, {config.json, config.keys, textColumns(data, surroundings)}, data);
    return problem.empty() ? kDone : refuse(app, problem, people);
}

}  // namespace

int refuse(const CLI::App& app, const std::string& problem, std::ostream& people) {
    people << app.get_name() << ": " << printable(problem) << '\n';
    return kWrongUsage;
}

int refuseMissingCommand(const CLI::App& app, std::ostream& people) {
    return refuse(app, "a command is missing; there are " + listOf(commandNamesOf(app)), people);
}

std::optional<int> parse(CLI::App& app, int argc, const char* const* argv, std::ostream& data, std::ostream& people,
                         const Surroundings& surroundings) {
    ConfigCommand config{};
    HelpCommand help;
    addConfigCommand(app, config);
    addHelpCommand(app, help);
    setHelpFormat(app, textColumns(data, surroundings));
    addValueChecks(app);
    letTheLastWin(app);
    std::string lack;  // what another source may have
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) {
        app.exit(request, data, people);
        return kDone;
    } catch (const CLI::ParseError& error) {
        lack = sentenceFor(error, app);
        if (!mayBeFilled(error, app)) return refuse(app, lack, people);
    }
    if (lack.empty() && help.command->parsed()) return showHelp(app, help, data, people);
    if (lack.empty() && config.command->parsed()) return runConfig(app, config, surroundings, data, people);

    GivenSettings given;
    if (const std::string problem = collectSettings(app, surroundings, given); !problem.empty())
        return refuse(app, problem, people);
    const auto parsed = app.get_subcommands();
    CLI::App& command = parsed.empty() ? app : *parsed.front();
    const auto fillings = fillingsFor(given, app, command);
    if (!fillings.empty()) return parseFilled(app, command, fillings, argc, argv, people);
    return lack.empty() ? std::nullopt : std::optional(refuse(app, lack, people));
}

}  // namespace options
