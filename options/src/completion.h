// Completion of a program's command line by bash.
#pragma once

#include <ostream>

#include <CLI/CLI.hpp>

namespace options {

/// Prints a script that lets bash complete commands, options, values from a list, files and folders. It is generated
/// from the options themselves, so it is always up to date.
void printCompletion(CLI::App& app, std::ostream& data);

}  // namespace options
