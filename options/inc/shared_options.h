// Options that several commands of both programs have, so that each means the same and has the same words everywhere.
// They write into their variables while the command line is parsed.
#pragma once

#include <cstdint>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace options {

/// "-V, --version". @param version  Such as "0.2.0".
void addVersion(CLI::App& app, const char* version);

/// "-n, --count": 0 is without end. @param help  What ends then.
void addCount(CLI::App& command, std::uint64_t& count, const std::string& help);

/// "--duration", in nanoseconds; 0 without it.
void addDuration(CLI::App& command, std::int64_t& durationNs);

/// "-q, --quiet".
void addQuiet(CLI::App& command, bool& quiet);

/// "--json". @param help  More than that one object is printed; empty: no more.
void addJson(CLI::App& command, bool& json, const std::string& help = "Print one JSON object on standard output");

/// "--timeout" in seconds, 0.01 to 86400. @param help  What ends when, with the default.
void addTimeout(CLI::App& command, double& seconds, const std::string& help);

/// The same for a command that asks over the link.
void addAnswerTimeout(CLI::App& command, double& seconds);

}  // namespace options
