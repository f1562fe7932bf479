#include "shared_options.h"

#include <CLI/CLI.hpp>

#include "option_checks.h"

namespace options {

void addVersion(CLI::App& app, const char* version) {
    app.set_version_flag("-V,--version", app.get_name() + " " + version, "Show the version");
}

void addCount(CLI::App& command, std::uint64_t& count, const std::string& help) {
    command.add_option("-n,--count", count, help)
        ->check(within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction"))
        ->type_name("N");
}

void addDuration(CLI::App& command, std::int64_t& durationNs) {
    command
        .add_option_function<std::string>(
            "--duration", [&durationNs](const std::string& text) { durationNs = options::durationNs(text); },
            "End after that time, such as 10s, 1ms to 1000h (units ms, s, min, h; default: no end); with --count the "
            "earlier of both ends")
        ->check(CLI::Validator(problemOfDuration, ""))
        ->type_name("TIME");
}

void addQuiet(CLI::App& command, bool& quiet) {
    command.add_flag("-q,--quiet", quiet, "Show no progress and no live line; results and errors stay");
}

void addJson(CLI::App& command, bool& json, const std::string& help) { command.add_flag("--json", json, help); }

void addTimeout(CLI::App& command, double& seconds, const std::string& help) {
    command.add_option("--timeout", seconds, help)->check(within(0.01, 86400.0, "0.01 to 86400"))->type_name("SECONDS");
}

void addAnswerTimeout(CLI::App& command, double& seconds) {
    addTimeout(command, seconds,
               "End with exit code 3 when no answer came for that long, 0.01 to 86400 s (default: 12; a broken link "
               "heals within about 10 s)");
}

}  // namespace options
