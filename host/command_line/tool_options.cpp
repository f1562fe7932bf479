#include "tool_options.h"

#include <CLI/CLI.hpp>

#include "image_size.h"
#include "option_checks.h"
#include "plugin_library.h"
#include "shared_options.h"

namespace host {

namespace {

constexpr const char* kConfigHelp = "Configuration file for the camera (default: the camera's own defaults)";

CLI::Option* addPlugin(CLI::App& command, CommonOptions& options) {
    options.pluginPath = defaultPluginPath();
    return command
        .add_option("--plugin", options.pluginPath, "The plugin's library (default: the one beside this program)")
        ->type_name("PATH");
}

}  // namespace

void addCommonOptions(CLI::App& command, CommonOptions& options) {
    addPlugin(command, options)->check(options::existingFile());
    options::addJson(command, options.json);
}

void addConfigFile(CLI::App& command, CameraOptions& options, const std::string& help) {
    command.add_option("-c,--config", options.configFile, help.empty() ? kConfigHelp : help)
        ->check(options::existingFile())
        ->type_name("FILE.ini");
}

void addShareOption(CLI::App& command, ImageOptions& options) {
    command.add_flag("--share", options.share,
                     "Open the camera although another host has it: both disturb each other's link to the simulator, "
                     "and one of them gets no images");
}

// Files are not checked here: to find that they are missing is what this command is for.
void addDoctorOptions(CLI::App& command, DoctorOptions& options) {
    command.add_option("-c,--config", options.configFile, kConfigHelp)->type_name("FILE.ini");
    addPlugin(command, options);
    command.add_flag("--all", options.all, "Show details of what is well, too");
    options::addJson(command, options.json);
}

void addBenchOptions(CLI::App& command, BenchOptions& options) {
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
            "Width and height in pixels, each 1 to 65536 (default: 1280x1024)")
        ->type_name("WIDTHxHEIGHT");
    command.add_option("--bytes-per-pixel", options.format.bytesPerPixel, "1 to 16 (default: 1)")
        ->check(options::within(std::size_t{1}, std::size_t{16}, "1 to 16, without a fraction"))
        ->type_name("BYTES");
    command
        .add_option("--fps", options.rates,
                    "Images per second, 1 to 10000; may be given again: one run each (default: 200 1000)")
        ->check(options::within(1.0, 10000.0, "1 to 10000"))
        ->type_name("RATE");
    command.add_option("--seconds", options.seconds, "Time of each measurement, 0.2 to 600 s (default: 2)")
        ->check(options::within(0.2, 600.0, "0.2 to 600"))
        ->type_name("SECONDS");
    options::addQuiet(command, options.quiet);
    addCommonOptions(command, options);
}

void addBenchPartner(CLI::App& app, HostOptions& options) {
    CLI::App* partner = app.add_subcommand("bench-partner", "");
    partner->group("");
    partner->add_option("NAME", options.benchPartner.events)->required();
    partner->final_callback([&options] { options.command = HostOptions::Command::benchPartner; });
}

}  // namespace host
