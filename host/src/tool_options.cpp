#include "tool_options.h"

#include <CLI/CLI.hpp>

namespace host {
namespace {

constexpr const char* kDoctorHelp =
    "doctor disturbs nobody: it loads the plugin's library without making a camera of it, reads files, and looks at\n"
    "named objects from outside: it attaches to no ring, takes no event and removes no leftover. (On Windows it holds\n"
    "each object for the moment of the look.) Each finding is ok, a warning (works, but perhaps not as meant) or a\n"
    "problem; with a problem the exit code is 1.\n"
    "\n";

}  // namespace

// Files are not checked here: that they are missing is what this command is to find.
void addDoctorOptions(CLI::App& command, HostOptions& options) {
    command.add_option("--plugin", options.pluginPath, "The plugin's library (default: the one beside this program)")
        ->type_name("PATH");
    command.add_option("--config", options.configFile, "Configuration file for the camera (default: its own defaults)")
        ->type_name("FILE");
    command.add_flag("--json", options.json, "Print one JSON object on standard output");
    command.footer(kDoctorHelp);
}

}  // namespace host
