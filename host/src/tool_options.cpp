#include "tool_options.h"

#include <CLI/CLI.hpp>

#include "image_size.h"
#include "option_checks.h"

namespace host {
namespace {

constexpr const char* kDoctorHelp =
    "doctor disturbs nobody: it loads the plugin's library without making a camera of it, reads files, and looks at\n"
    "named objects from outside: it attaches to no ring, takes no event and removes no leftover. (On Windows it holds\n"
    "each object for the moment of the look.) Each finding is ok, a warning (works, but perhaps not as meant) or a\n"
    "problem; with a problem the exit code is 1.\n"
    "\n"
    "Examples:\n"
    "  dorven-host doctor\n"
    "  dorven-host doctor --config camera.ini\n"
    "  dorven-host doctor --json\n";

constexpr const char* kBenchHelp =
    "bench starts dorven-simulator beside itself and loads the plugin as a host does; the callback only notes times.\n"
    "Beside each number stands the bare limit of this machine, measured in the same run, and the ratio to it. "
    "Lateness\n"
    "is that of the simulator's time stamps against an even grid. On Linux the run has object names of its own; on\n"
    "Windows it fails while a simulator or a camera has the names.\n"
    "\n"
    "Examples:\n"
    "  dorven-host bench\n"
    "  dorven-host bench --size 640x480 --bytes-per-pixel 2 --fps 500\n"
    "  dorven-host bench --fps 100 --fps 2000 --seconds 10 --json\n";

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

void addBenchOptions(CLI::App& command, HostOptions& options) {
    command.add_option("--plugin", options.pluginPath, "The plugin's library (default: the one beside this program)")
        ->check(options::existingFile())
        ->type_name("PATH");
    command
        .add_option("--simulator", options.simulatorPath,
                    "The simulator's program (default: the one beside this program)")
        ->type_name("PATH");
    command
        .add_option_function<std::string>(
            "--size",
            [&options](const std::string& text) {
                if (!frames::parseSize(text, options.benchSize))
                    throw CLI::ValidationError("--size: '" + text +
                                               "' is no image size such as 1280x1024, each side from 1 to 65536");
            },
            "Width and height in pixels, each 1 to 65536 (default 1280x1024)")
        ->type_name("WIDTHxHEIGHT");
    command.add_option("--bytes-per-pixel", options.benchSize.bytesPerPixel, "1 to 16 (default 1)")
        ->check(options::within(std::size_t{1}, std::size_t{16}, "1 to 16, without a fraction"))
        ->type_name("BYTES");
    command
        .add_option("--fps", options.benchRates,
                    "Images per second, 1 to 10000; several: one run each (default 200 1000)")
        ->check(options::within(1.0, 10000.0, "1 to 10000"))
        ->type_name("RATE");
    command.add_option("--seconds", options.benchSeconds, "Of each measurement, 0.2 to 600 s (default 2)")
        ->check(options::within(0.2, 600.0, "0.2 to 600"))
        ->type_name("SECONDS");
    command.add_flag("--json", options.json, "Print one JSON object on standard output");
    command.footer(kBenchHelp);
}

CLI::App* addBenchPartner(CLI::App& app, HostOptions& options) {
    CLI::App* partner = app.add_subcommand("bench-partner", "");
    partner->group("");
    partner->add_option("NAME", options.benchPartner)->required();
    return partner;
}

}  // namespace host
