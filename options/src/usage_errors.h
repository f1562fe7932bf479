// What a program says of a command line that it cannot use: one sentence of its own for each kind of mistake, never the
// library's.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

namespace options {

/// The sentence, without the program's name and the end of the line. A name that nearly is one comes first: "did you
/// mean '--count'? grab has no option '--cuont'".
/// @param app  As the failed parse left it.
std::string sentenceFor(const CLI::ParseError& error, const CLI::App& app);

/// Why an option refuses its values, without the option's name.
std::string reasonOf(const CLI::ParseError& error, const CLI::Option& option);

/// "grab and verify"
std::string joinedByAnd(const std::vector<std::string>& words);

}  // namespace options
