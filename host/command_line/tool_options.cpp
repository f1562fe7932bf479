#include "tool_options.h"

#include <CLI/CLI.hpp>

#include "image_size.h"
#include "option_checks.h"

namespace host {

void addCommonOptions(CLI::App& command, CommonOptions& options) {
    command.add_option("--plugin", options.pluginPath, "The plugin's library (default: the one beside this program)")
        ->check(options::existingFile())
        ->type_name("PATH");
    command.add_flag("--json", options.json, "Print one JSON object on standard output");
}

void addShareOption(CLI::App& command, ImageOptions& options) {
    command.add_flag("--share", options.share,
                     "Open the camera although another host has it: both disturb each other's link to the simulator, "
                     "and one of them gets no images");
}

// Files are not checked here: that they are missing is what this command is to find.
void addDoctorOptions(CLI::App& command, DoctorOptions& options) {
    command.add_option("--plugin", options.pluginPath, "The plugin's library (default: the one beside this program)")
        ->type_name("PATH");
    command.add_option("--config", options.configFile, "Configuration file for the camera (default: its own defaults)")
        ->type_name("FILE");
    command.add_flag("--all", options.all, "Show details of what is well, too");
    command.add_flag("--json", options.json, "Print one JSON object on standard output");
}

void addBenchOptions(CLI::App& command, BenchOptions& options) {
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
                if (!frames::parseSize(text, options.format))
                    throw CLI::ValidationError("--size: '" + text +
                                               "' is no image size such as 1280x1024, each side from 1 to 65536");
            },
            "Width and height in pixels, each 1 to 65536 (default 1280x1024)")
        ->type_name("WIDTHxHEIGHT");
    command.add_option("--bytes-per-pixel", options.format.bytesPerPixel, "1 to 16 (default 1)")
        ->check(options::within(std::size_t{1}, std::size_t{16}, "1 to 16, without a fraction"))
        ->type_name("BYTES");
    command
        .add_option("--fps", options.rates, "Images per second, 1 to 10000; several: one run each (default 200 1000)")
        ->check(options::within(1.0, 10000.0, "1 to 10000"))
        ->type_name("RATE");
    command.add_option("--seconds", options.seconds, "Of each measurement, 0.2 to 600 s (default 2)")
        ->check(options::within(0.2, 600.0, "0.2 to 600"))
        ->type_name("SECONDS");
    command.add_flag("--json", options.json, "Print one JSON object on standard output");
}

void addBenchPartner(CLI::App& app, HostOptions& options) {
    CLI::App* partner = app.add_subcommand("bench-partner", "");
    partner->group("");
    partner->add_option("NAME", options.benchPartner.events)->required();
    partner->final_callback([&options] { options.command = HostOptions::Command::benchPartner; });
}

}  // namespace host
