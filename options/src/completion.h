// The completion of a program's command line by bash and PowerShell.
#pragma once

#include <ostream>

#include <CLI/CLI.hpp>

namespace options {

/// The names of the shells, for `config --completion SHELL`.
constexpr const char* kBash = "bash";
constexpr const char* kPowerShell = "powershell";

/// Prints a script that makes a shell complete commands, options and their values: words where an option offers some
/// (oneOf, offering), files by the ending that the name of the value has (FILE.ini), folders (DIR). Made of the options
/// themselves, so that it is never behind them. A value without a shown name has it as its option text.
void printCompletion(CLI::App& app, const std::string& shell, std::ostream& data);

}  // namespace options
