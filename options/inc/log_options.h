// The options of every command that may log.
#pragma once

#include <CLI/CLI.hpp>

#include "program_log.h"

namespace options {

/// "--log" and "--verbose". They write into options while the command line is parsed.
inline void addLogOptions(CLI::App& command, LogOptions& options) {
    command
        .add_option("--log", options.file,
                    "Append the log of this program and its camera plugin to that file (default: that of "
                    "DORVEN_LOG_FILE, else none; the newest lines are shown when the program fails)")
        ->type_name("FILE");
    command.add_flag("-v,--verbose", options.verbose, "Show the log on standard error");
}

}  // namespace options
