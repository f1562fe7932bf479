// "Did you mean …" for what a command line has and its program does not know.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "closest_name.h"

namespace options {

/// The subcommand that a failed parse had reached; the program itself when it had reached none.
inline const CLI::App& reachedCommand(const CLI::App& app) {
    const CLI::App* reached = &app;
    while (!reached->get_subcommands().empty()) reached = reached->get_subcommands().front();
    return *reached;
}

/// Lines for people, one for each word that nearly is an option, or a subcommand, of the command that was reached.
inline std::string suggestionsFor(const CLI::App& app) {
    const CLI::App& command = reachedCommand(app);
    std::vector<std::string> options;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
    }
    std::vector<std::string> commands;
    for (const CLI::App* subcommand : command.get_subcommands({})) {
        if (!subcommand->get_group().empty()) commands.push_back(subcommand->get_name());  // not the hidden ones
    }
    std::string lines;
    for (const std::string& word : app.remaining(true)) {
        const std::string name = word.substr(0, word.find('='));
        const std::string closest = closestName(name, name.rfind("--", 0) == 0 ? options : commands);
        if (!closest.empty() && closest != name)
            lines.append(name).append(": did you mean '").append(closest).append("'?\n");
    }
    return lines;
}

}  // namespace options
