// Options of the commands that examine the machine, and options that several commands share.
#pragma once

#include <string>

#include "host_options.h"

namespace CLI {
class App;
}

namespace host {

/// "--plugin" and "--json". They write into options while the command line is parsed.
void addCommonOptions(CLI::App& command, CommonOptions& options);

/// "-c, --config". @param help  Empty: the usual one.
void addConfigFile(CLI::App& command, CameraOptions& options, const std::string& help = "");

/// "--share" of the commands that open the camera. It writes into options while the command line is parsed.
void addShareOption(CLI::App& command, ImageOptions& options);

/// All options of "doctor". They write into options while the command line is parsed.
void addDoctorOptions(CLI::App& command, DoctorOptions& options);

/// All options of "bench".
void addBenchOptions(CLI::App& command, BenchOptions& options);

/// Adds "bench-partner", which no help mentions.
void addBenchPartner(CLI::App& app, HostOptions& options);

}  // namespace host
