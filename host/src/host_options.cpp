#include "host_options.h"

#include <CLI/CLI.hpp>

#include "device_commands.h"
#include "option_checks.h"
#include "plugin_library.h"
#include "save_options.h"
#include "suggestions.h"
#include "tool_options.h"

namespace host {
namespace {

constexpr double kMinTimeout = 0.01;
constexpr double kMaxTimeout = 86400.0;

void addCommonOptions(CLI::App& command, HostOptions& options) {
    command.add_option("--plugin", options.pluginPath, "The plugin's library (default: the one beside this program)")
        ->check(existingFile())
        ->type_name("PATH");
    command.add_flag("--json", options.json, "Print one flat JSON object on standard output");
}

constexpr const char* kCallHelp =
    "VALUE is the command's parameter: a number (also nan and inf for a double), true or false, or the numbers of a\n"
    "structure in the order of its fields with commas between them. Commands that take a text take any, and none for\n"
    "a null text. 1005 takes host (a function that lets images pass) or null, 1114 and 1115 take null. Before a VALUE\n"
    "such as -inf that looks like an option, write --.\n"
    "\n"
    "Units: frame rate (1106, 1107) images/s; clipping (1007, 1008, 1014) pixels and lines; pixel size (1013)\n"
    "micrometres; image memory (1011) frame_time s and time_stamp us.\n"
    "\n";

constexpr const char* kCommandsHelp =
    "--commands really sends each command twice to a fresh device: before it is opened, and opened with its defaults.\n"
    "A setting is given the value that the device says it has, or zero; images are grabbed for a moment. Motor and\n"
    "I/O port commands are not sent to a device that offers such a kind. At the end the device is opened anew and\n"
    "released. What it refuses it also tells its error log (environment variable DORVEN_LOG_FILE).\n"
    "\n";

constexpr const char* kAskSnapHelp =
    "The simulator of this house takes no pictures: it reports \"SNAP\" and that snapping is not implemented in its "
    "logs\n"
    "and sends the request back as it was, which looks like success. The plugin is not loaded; while a host has the\n"
    "camera open, ask-snap fails, since the camera's end of the link is taken.\n"
    "\n";

void addInfoOptions(CLI::App& command, HostOptions& options) {
    command.add_flag("--commands", options.commands, "Show how the device answers each of its commands");
}

void addCallOptions(CLI::App& command, HostOptions& options) {
    command.add_option("ID", options.commandId, "Number of the command, such as 1107")->required()->type_name("");
    command.add_option("VALUE", options.commandValue, "Its parameter")->type_name("");
    command.add_flag("--open", options.open, "Open the device (command 1001) with its defaults before the command");
    command
        .add_option("--config", options.configFile,
                    "Open the device (command 1001) with this configuration file before the command")
        ->check(existingFile())
        ->type_name("FILE");
}

// What is wrong with the command's VALUE; the device itself answers for ids that are unknown.
std::string problemOfCall(const HostOptions& options) {
    const DeviceCommand* command = findDeviceCommand(options.commandId);
    if (!command) return "";
    const std::string problem = command->problem(options.commandValue);
    if (problem.empty()) return "";
    return "VALUE: command " + std::to_string(command->id) + " (" + command->operation + "): " + problem;
}

void addGrabOptions(CLI::App& command, HostOptions& options) {
    command.add_option("--config", options.configFile, "Configuration file for the camera (default: its own defaults)")
        ->check(existingFile())
        ->type_name("FILE");
    command.add_option("--count", options.imageCount, "End after that many images; 0: at Ctrl-C (default 0)")
        ->check(within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction"))
        ->type_name("IMAGES");
    command
        .add_option("--timeout", options.timeoutSeconds,
                    "End with exit code 3 when no image came for that long, 0.01 to 86400 s (default 30; the camera "
                    "itself begins to fake images after 22 s)")
        ->check(within(kMinTimeout, kMaxTimeout, "0.01 to 86400"))
        ->type_name("SECONDS");
    addSaveOptions(command, options);
}

void addAskSnapOptions(CLI::App& command, HostOptions& options, double& timeoutSeconds) {
    command.add_flag("--json", options.json, "Print one flat JSON object on standard output");
    command
        .add_option("--timeout", timeoutSeconds,
                    "End with exit code 3 when no answer came for that long, 0.01 to 86400 s (default 12; a link that "
                    "was broken heals within about 10 s)")
        ->check(within(kMinTimeout, kMaxTimeout, "0.01 to 86400"))
        ->type_name("SECONDS");
}

}  // namespace

std::optional<int> parseHostOptions(int argc, const char* const* argv, HostOptions& options, std::ostream& data,
                                    std::ostream& people) {
    CLI::App app("Loads a camera plugin as a measuring host does, and shows what it offers or what it delivers.",
                 "dorven-host");
    app.set_version_flag("--version", std::string("dorven-host ") + DORVEN_VERSION);
    app.require_subcommand(0, 1);  // none is told below: here it would hide what else is wrong
    CLI::App* info = app.add_subcommand("info", "Show the plugin's device: identity, kinds, properties, document");
    addCommonOptions(*info, options);
    addInfoOptions(*info, options);
    CLI::App* grab = app.add_subcommand("grab", "Receive images, verify each from its pixels, measure, save");
    addCommonOptions(*grab, options);
    addGrabOptions(*grab, options);
    CLI::App* snap = app.add_subcommand("snap", "Save one image in a file");
    addCommonOptions(*snap, options);
    addSnapOptions(*snap, options);
    CLI::App* doctor = app.add_subcommand("doctor", "Look at all that a grab needs and say what to do about it");
    addDoctorOptions(*doctor, options);
    CLI::App* bench = app.add_subcommand("bench", "Measure this machine with simulator and plugin, beside bare limits");
    addBenchOptions(*bench, options);
    CLI::App* benchPartner = addBenchPartner(app, options);
    CLI::App* call = app.add_subcommand("call", "Send one command to the plugin's device");
    addCommonOptions(*call, options);
    addCallOptions(*call, options);
    CLI::App* askSnap =
        app.add_subcommand("ask-snap", "Ask the simulator to take a picture, over the link, as a camera");
    double askTimeoutSeconds = 12.0;
    addAskSnapOptions(*askSnap, options, askTimeoutSeconds);
    const std::string footer =
        "Examples:\n"
        "  dorven-host info\n"
        "  dorven-host info --commands\n"
        "  dorven-host call 1106 50 --open\n"
        "  dorven-host call 1008 --config camera.ini --json\n"
        "  dorven-host grab --count 300\n"
        "  dorven-host grab --config camera.ini --count 1000 --output images --every 100 --json\n"
        "  dorven-host grab --output images --around-loss 50 --format pgm\n"
        "  dorven-host snap picture.png\n"
        "  dorven-host doctor --config camera.ini\n"
        "  dorven-host bench --fps 200 --seconds 5\n"
        "  dorven-host ask-snap\n"
        "\n"
        "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 no image or answer in time, 4 connection to the simulator "
        "lost.";
    app.footer(footer);
    info->footer(kCommandsHelp + footer);
    call->footer(kCallHelp + footer);
    grab->footer(footer);
    bench->footer(bench->get_footer() + footer);
    doctor->footer(doctor->get_footer() + footer);
    snap->footer(snap->get_footer() + footer);
    askSnap->footer(kAskSnapHelp + footer);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (app.exit(error, data, people) == 0) return kExitDone;
        people << suggestionsFor(app);
        return kExitWrongUsage;
    }
    if (app.get_subcommands().empty()) {
        people
            << "A subcommand is required: info, grab, snap, doctor, bench, call or ask-snap\nRun with --help for more "
               "information.\n";
        return kExitWrongUsage;
    }
    if (askSnap->parsed()) {
        options.command = HostOptions::Command::askSnap;
        options.timeoutSeconds = askTimeoutSeconds;
    }
    if (grab->parsed()) options.command = HostOptions::Command::grab;
    if (bench->parsed()) options.command = HostOptions::Command::bench;
    if (benchPartner->parsed()) options.command = HostOptions::Command::benchPartner;
    if (doctor->parsed()) options.command = HostOptions::Command::doctor;
    if (snap->parsed()) options.command = HostOptions::Command::snap;
    if (call->parsed()) {
        options.command = HostOptions::Command::call;
        options.open = options.open || !options.configFile.empty();
        if (const std::string problem = problemOfCall(options); !problem.empty()) {
            people << problem << "\nRun with --help for more information.\n";
            return kExitWrongUsage;
        }
    }
    if (options.pluginPath.empty()) options.pluginPath = defaultPluginPath();
    return std::nullopt;
}

}  // namespace host
