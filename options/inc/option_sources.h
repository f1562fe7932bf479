// Options of a program from four sources. The stronger source wins: the command line, the environment, the user's
// configuration file, the default.
//
// One rule gives all names. The option --save-every of dorven-host is DORVEN_HOST_SAVE_EVERY in the environment and
// save-every in the file; both apply to every command that has the option. A section in the file, [grab], contains keys
// for that command only, which win over keys above all sections. A flag is true or false. Several values for one option
// are written in one text, separated by blanks, in quotes if they contain blanks; in the file also on consecutive lines
// with the same key. An empty variable counts as not set.
//
//   # ~/.config/dorven/host.conf
//   timeout = 20
//   [grab]
//   every = 100
//
// A weaker source yields: a setting is ignored if an option on the command line excludes it, or if it needs an option
// that was not given. An unknown variable or key, and a value that the option refuses, end the program.
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
