#include "option_sources.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "completion.h"
#include "config_show.h"
#include "given_settings.h"
#include "help_format.h"
#include "option_list.h"
#include "suggestions.h"
#include "value_checks.h"

namespace options {
namespace {

struct Filling {
    CLI::Option* option;
    const Setting* setting;
};

int refuse(const std::string& problem, const CLI::App& app, std::ostream& people) {
    people << app.get_name() << ": " << problem << "\nRun with config --help for more information.\n";
    return kWrongUsage;
}

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
                               const char* const* argv, std::ostream& data, std::ostream& people) {
    for (const Filling& filling : fillings) {
        if (const std::string problem = problemOf(*filling.option, *filling.setting); !problem.empty())
            return refuse(problem, app, people);
    }
    command.preparse_callback([&fillings](std::size_t) {
        for (const Filling& filling : fillings) give(*filling.option, *filling.setting);
    });
    std::optional<int> exitCode;
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        app.exit(error, data, people);
        exitCode = kWrongUsage;
    }
    command.preparse_callback({});
    return exitCode;
}

// What the command line lacks, another source may have.
bool mayBeFilled(const CLI::ParseError& error) {
    return error.get_name() == "RequiredError" || error.get_name() == "RequiresError";
}

struct ConfigCommand {
    CLI::App* command;
    bool show = false;
    bool json = false;
    bool completion = false;
};

void addConfigCommand(CLI::App& app, ConfigCommand& config) {
    config.command = app.add_subcommand(kConfigCommand, "Show each option's value and where it comes from");
    CLI::Option* const show = config.command->add_flag("--show", config.show, "Show all options of all commands");
    config.command->add_flag("--json", config.json, "Print one JSON object on standard output")->needs(show);
    config.command->add_flag("--completion", config.completion, "Print the bash completion of this program")
        ->excludes(show);
    config.command->footer(configHelp(app));
}

void setHelpFormat(CLI::App& app) {
    const auto format = std::make_shared<HelpFormat>();
    app.formatter(format);
    for (CLI::App* const command : app.get_subcommands([](CLI::App*) { return true; })) command->formatter(format);
}

int runConfig(CLI::App& app, const ConfigCommand& config, const Surroundings& surroundings, std::ostream& data,
              std::ostream& people) {
    if (config.completion) {
        printCompletion(app, data);
        return kDone;
    }
    if (!config.show) return refuse("config wants --show or --completion", app, people);
    GivenSettings given;
    if (const std::string problem = collectSettings(app, surroundings, given); !problem.empty())
        return refuse(problem, app, people);
    const std::string problem = showConfig(app, given, config.json, data);
    return problem.empty() ? kDone : refuse(problem, app, people);
}

}  // namespace

std::optional<int> parse(CLI::App& app, int argc, const char* const* argv, std::ostream& data, std::ostream& people,
                         const Surroundings& surroundings) {
    ConfigCommand config{};
    addConfigCommand(app, config);
    setHelpFormat(app);
    addValueChecks(app);
    std::optional<int> exitCode;
    std::ostringstream reason;
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) {
        app.exit(request, data, people);
        return kDone;
    } catch (const CLI::ParseError& error) {
        app.exit(error, reason, reason);
        exitCode = kWrongUsage;
        if (!mayBeFilled(error)) {
            people << reason.str() << suggestionsFor(app);
            return exitCode;
        }
    }
    if (config.command->parsed() && !exitCode) return runConfig(app, config, surroundings, data, people);

    GivenSettings given;
    if (const std::string problem = collectSettings(app, surroundings, given); !problem.empty())
        return refuse(problem, app, people);
    const auto parsed = app.get_subcommands();
    CLI::App& command = parsed.empty() ? app : *parsed.front();
    const auto fillings = fillingsFor(given, app, command);
    if (!fillings.empty()) return parseFilled(app, command, fillings, argc, argv, data, people);
    if (exitCode) people << reason.str();
    return exitCode;
}

}  // namespace options
