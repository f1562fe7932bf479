// Options of the commands that look at the machine.
#pragma once

#include "host_options.h"

namespace CLI {
class App;
}

namespace host {

/// All options of "doctor". They write into options while the command line is parsed.
void addDoctorOptions(CLI::App& command, HostOptions& options);

}  // namespace host
