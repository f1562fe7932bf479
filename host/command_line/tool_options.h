// Options of the commands that look at the machine, and those that several commands have.
#pragma once

#include "host_options.h"

namespace CLI {
class App;
}

namespace host {

/// "--share" of the commands that open the camera. It writes into options while the command line is parsed.
void addShareOption(CLI::App& command, HostOptions& options);

/// All options of "doctor". They write into options while the command line is parsed.
void addDoctorOptions(CLI::App& command, HostOptions& options);

/// All options of "bench".
void addBenchOptions(CLI::App& command, HostOptions& options);

/// Adds "bench-partner", which no help tells of.
void addBenchPartner(CLI::App& app, HostOptions& options);

}  // namespace host
