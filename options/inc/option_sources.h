// Options of a program from four sources. What is stronger wins: the command line, the environment, the user's
// configuration file, the default.
//
// One rule names them all. The option --save-every of dorven-host is DORVEN_HOST_SAVE_EVERY in the environment and
// save-every in the file; both count for every command of the program that has the option. A section in the file,
// [grab], holds keys for that command alone, and wins over keys above all sections. A flag is true or false. Several
// values for one option stand in one text with blanks between them, in quotes where they hold blanks, or in the file on
// lines of their own one after the other. An empty variable is none.
//
//   # ~/.config/dorven/host.conf
//   timeout = 20
//   [grab]
//   every = 100
//
// A weaker source yields: a setting that the command line's options exclude, or that needs an option that nobody gave,
// does not count. A variable or key that names no option, and a value that the option refuses, end the program.
#pragma once

#include <optional>
#include <ostream>
#include <string>

#include <CLI/CLI.hpp>

#include "surroundings.h"

namespace options {

/// Exit codes, the same for both programs.
constexpr int kDone = 0;
constexpr int kWrongUsage = 2;

/// Adds the commands `config` and `help`, reads the command line, and lets environment and configuration file fill what
/// it leaves. An option with one value that is given several times takes the last one.
///
/// @param app     Named dorven-PROGRAM, with all its options and commands; commands are one level deep.
/// @param data    Receives what --help, --version and config ask for.
/// @param people  Receives the reason when something is wrong, in one line: the option, the variable, or the file and
///                its key. A name that nearly is one is answered with the nearest one first.
/// @return        The exit code when the program is to end now; none: the variables behind the options are set.
std::optional<int> parse(CLI::App& app, int argc, const char* const* argv, std::ostream& data, std::ostream& people,
                         const Surroundings& surroundings = platform_surroundings());

/// Says what is wrong with a command line, in one line. @return the exit code.
int refuse(const CLI::App& app, const std::string& problem, std::ostream& people);

/// The same where no command was given.
int refuseMissingCommand(const CLI::App& app, std::ostream& people);

}  // namespace options
