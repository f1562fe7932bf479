#include "option_list.h"

#include <algorithm>

namespace options {
namespace {

// "host" of "dorven-host".
std::string shortName(const CLI::App& app) {
    const std::string& name = app.get_name();
    return name.substr(name.find('-') + 1);
}

std::string capitals(std::string text) {
    for (char& character : text)
        character = character == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    return text;
}

}  // namespace

std::vector<CLI::App*> commandsOf(CLI::App& app) {
    std::vector<CLI::App*> commands{&app};
    for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
        if (command->get_name() != kConfigCommand && command->get_name() != kHelpCommand) commands.push_back(command);
    }
    return commands;
}

std::vector<CLI::App*> everyCommandOf(CLI::App& app) {
    std::vector<CLI::App*> commands{&app};
    for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) commands.push_back(command);
    return commands;
}

std::vector<CLI::App*> shownCommandsOf(CLI::App& app) {
    return app.get_subcommands([](CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<std::string> commandNamesOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); }))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> keysOf(CLI::App& app) {
    std::vector<std::string> keys;
    for (CLI::App* command : commandsOf(app)) {
        for (const CLI::Option* option : settableOptions(*command)) {
            if (std::ranges::find(keys, longName(*option)) == keys.end()) keys.push_back(longName(*option));
        }
    }
    return keys;
}

std::vector<std::string> unknownWords(const CLI::App& app) {
    std::vector<std::string> words = app.remaining(true);
    std::erase(words, "--");
    return words;
}

std::string commandName(const CLI::App& app, const CLI::App& command) {
    return &app == &command ? "" : command.get_name();
}

std::vector<CLI::Option*> settableOptions(CLI::App& command) {
    std::vector<CLI::Option*> options;
    for (CLI::Option* option : command.get_options()) {
        const bool asks = option == command.get_help_ptr() || option == command.get_version_ptr();
        if (!asks && !option->get_lnames().empty()) options.push_back(option);
    }
    return options;
}

std::string longName(const CLI::Option& option) { return option.get_lnames().front(); }

std::string variablePrefix(const CLI::App& app) { return "DORVEN_" + capitals(shortName(app)) + "_"; }

std::string variableName(const CLI::App& app, const std::string& name) { return variablePrefix(app) + capitals(name); }

std::string configFileName(const CLI::App& app) { return shortName(app) + ".conf"; }

}  // namespace options
