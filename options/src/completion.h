// The completion of a program's command line by bash.
#pragma once

#include <ostream>

#include <CLI/CLI.hpp>

namespace options {

/// Prints a script that makes bash complete commands, options, values that are words of a list, files and folders.
/// Made of the options themselves, so that it is never behind them.
void printCompletion(CLI::App& app, std::ostream& data);

}  // namespace options
