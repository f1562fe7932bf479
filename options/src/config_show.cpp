#include "config_show.h"

#include <algorithm>
#include <iomanip>
#include <optional>
#include <sstream>
#include <vector>

#include <nlohmann/json.hpp>

#include "option_list.h"

namespace options {
namespace {

struct Shown {
    std::string command;  // empty: the program itself
    std::string option;   // long name
    std::optional<std::string> value;
    std::string source;
    std::string place;  // for environment and file: where there
};

std::string joined(const std::vector<std::string>& values) {
    std::string text;
    for (const std::string& value : values) text.append(&value == values.data() ? "" : " ").append(value);
    return text;
}

// The default that the option was told to show, otherwise the value of its variable.
std::optional<std::string> defaultOf(CLI::Option& option) {
    if (option.get_default_str().empty()) {
        if (option.get_expected_min() == 0) return "false";
        option.capture_default_str();
    }
    const std::string text = option.get_default_str();
    return text.empty() || text == "[]" ? std::nullopt : std::optional(text);
}

Shown shown(const GivenSettings& given, const CLI::App& app, const CLI::App& command, CLI::Option& option) {
    Shown row{commandName(app, command), longName(option), {}, {}, {}};
    if (option.count() > 0) {
        row.value = joined(option.results());
        row.source = "command line";
    } else if (const Setting* const setting = settingFor(given, app, command, option)) {
        row.value = joined(setting->values);
        row.source = setting->source;
        row.place = setting->place;
    } else {
        row.value = defaultOf(option);
        row.source = "default";
    }
    return row;
}

// Checked after all options have been read: a check sets the option's variable, which another command may share.
std::string firstProblem(const GivenSettings& given, CLI::App& app) {
    for (CLI::App* command : commandsOf(app)) {
        for (CLI::Option* option : settableOptions(*command)) {
            const Setting* const setting = settingFor(given, app, *command, *option);
            if (!setting || option->count() > 0) continue;
            if (std::string problem = problemOf(*option, *setting); !problem.empty()) return problem;
        }
    }
    return "";
}

void printJson(const GivenSettings& given, const std::vector<Shown>& rows, std::ostream& stream) {
    nlohmann::ordered_json object;
    object["schema"] = kConfigSchema;
    object["file"] = given.filePath;
    object["options"] = nlohmann::ordered_json::array();
    for (const Shown& row : rows) {
        nlohmann::ordered_json entry;
        entry["command"] = row.command;
        entry["option"] = row.option;
        entry["value"] = row.value ? nlohmann::ordered_json(*row.value) : nullptr;
        entry["source"] = row.source;
        entry["place"] = row.place.empty() ? nullptr : nlohmann::ordered_json(row.place);
        object["options"].push_back(entry);
    }
    // Paths and values may have any encoding.
    stream << object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
}

void printRow(const Shown& row, std::size_t columns, std::ostream& stream) {
    const std::string value = row.value.value_or("-");
    const std::string& from = row.place.empty() ? row.source : row.place;
    std::ostringstream line;
    line << "  " << std::left << std::setw(17) << row.option << ' ' << std::setw(24) << value;
    // What is too long goes on below.
    if (line.str().size() + 1 + from.size() > columns) line << '\n' << std::string(19, ' ');
    stream << line.str() << ' ' << from << '\n';
}

void printPeople(const CLI::App& app, const GivenSettings& given, const std::vector<Shown>& rows, std::size_t columns,
                 std::ostream& stream) {
    stream << "file  " << (given.filePath.empty() ? "none: no folder for it is known" : given.filePath) << '\n';
    std::string command = "?";
    for (const Shown& row : rows) {
        if (row.command != command)
            stream << '\n' << app.get_name() << (row.command.empty() ? "" : " ") << row.command << '\n';
        command = row.command;
        printRow(row, columns, stream);
    }
    stream << std::flush;
}

}  // namespace

std::string showConfig(CLI::App& app, const GivenSettings& given, const ConfigShow& how, std::ostream& data) {
    std::vector<Shown> rows;
    for (CLI::App* command : commandsOf(app)) {
        for (CLI::Option* option : settableOptions(*command)) {
            const bool isWanted = how.keys.empty() || std::ranges::find(how.keys, longName(*option)) != how.keys.end();
            if (isWanted) rows.push_back(shown(given, app, *command, *option));
        }
    }
    if (std::string problem = firstProblem(given, app); !problem.empty()) return problem;
    if (how.json) {
        printJson(given, rows, data);
    } else {
        printPeople(app, given, rows, how.columns, data);
    }
    return "";
}

std::string configHelp(const CLI::App& app) {
    const std::string& name = app.get_name();
    const std::string file = configFileName(app);
    return "The first source that has an option decides: the command line, the environment, the user's configuration "
           "file. Otherwise the default counts. An option --save-every would be " +
           variableName(app, "save-every") +
           " in the environment (an empty variable counts as none), and in the file a line\n"
           "  save-every = 100\n"
           "for every command that has the option, or below a line such as [grab] for that command alone. A flag is "
           "true or false. The file is $XDG_CONFIG_HOME/dorven/" +
           file + ", or ~/.config/dorven/" + file + " where that variable is not set; on Windows %APPDATA%\\dorven\\" +
           file +
           ". An unknown name, or a value that an option refuses, ends the program with exit code 2.\n"
           "\n"
           "Examples:\n"
           "  " +
           name + " config --show\n  " + name + " config --show --json\n  " + name +
           " config --completion >>~/.bash_completion\n  " + name +
           " config --completion powershell >>$PROFILE\n"
           "\n"
           "Exit codes: 0 done, 2 wrong usage.";
}

}  // namespace options
