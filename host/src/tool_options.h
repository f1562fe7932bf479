// Options of the commands that look at the machine.
#pragma once

#include "host_options.h"

namespace CLI {
class App;
}

namespace host {

/// All options of "doctor". They write into options while the command line is parsed.
void addDoctorOptions(CLI::App& command, HostOptions& options);

/// All options of "bench".
void addBenchOptions(CLI::App& command, HostOptions& options);

/// Adds "bench-partner", which no help tells of.
void addBenchPartner(CLI::App& app, HostOptions& options);

}  // namespace host
