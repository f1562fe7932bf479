// The options of a program, for everything except the command line.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace options {

/// The command that shows all of this; it has no options that can be set elsewhere.
constexpr const char* kConfigCommand = "config";

/// The command that shows the help of another one.
constexpr const char* kHelpCommand = "help";

/// The program itself, with an empty name, then its commands.
std::vector<CLI::App*> commandsOf(CLI::App& app);

/// The same with the commands that have no settable options.
std::vector<CLI::App*> everyCommandOf(CLI::App& app);

/// The commands that the help shows, and their names: one without a group is for the program alone.
std::vector<CLI::App*> shownCommandsOf(CLI::App& app);
std::vector<std::string> commandNamesOf(const CLI::App& app);

/// The long names of all options of a program, or of one of its commands, that can be set, each once.
std::vector<std::string> keysOf(CLI::App& app);

/// Words of a command line that are no command, option or value.
std::vector<std::string> unknownWords(const CLI::App& app);

std::string commandName(const CLI::App& app, const CLI::App& command);

/// Options of a command that environment and file can set: those with a long name, except help and version.
std::vector<CLI::Option*> settableOptions(CLI::App& command);

/// The name without dashes: "save-every".
std::string longName(const CLI::Option& option);

/// DORVEN_HOST_ for dorven-host.
std::string variablePrefix(const CLI::App& app);

/// DORVEN_HOST_SAVE_EVERY for save-every.
std::string variableName(const CLI::App& app, const std::string& longName);

/// host.conf for dorven-host.
std::string configFileName(const CLI::App& app);

}  // namespace options
