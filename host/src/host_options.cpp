#include "host_options.h"

#include <CLI/CLI.hpp>

#include "device_commands.h"
#include "option_checks.h"
#include "option_sources.h"
#include "plugin_library.h"
#include "save_options.h"
#include "tool_options.h"

namespace host {
namespace {

constexpr double kMinTimeout = 0.01;
constexpr double kMaxTimeout = 86400.0;
constexpr double kMaxLimit = 1e12;

void addCommonOptions(CLI::App& command, HostOptions& options) {
    command.add_option("--plugin", options.pluginPath, "The plugin's library (default: the one beside this program)")
        ->check(options::existingFile())
        ->type_name("PATH");
    command.add_flag("--json", options.json, "Print one JSON object on standard output");
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

constexpr const char* kInfoExamples =
    "Examples:\n"
    "  dorven-host info\n"
    "  dorven-host info --json\n"
    "  dorven-host info --commands\n";

constexpr const char* kCallExamples =
    "Examples:\n"
    "  dorven-host call 1107\n"
    "  dorven-host call 1106 50 --open\n"
    "  dorven-host call 1008 --config camera.ini --json\n";

constexpr const char* kGrabExamples =
    "Examples:\n"
    "  dorven-host grab --count 300\n"
    "  dorven-host grab --count 300 --output images --every 100\n"
    "  dorven-host grab --count 1000 --max-lost 0 --max-torn 0 --max-jitter-us 500 --min-fps 99\n"
    "  dorven-host grab --config camera.ini --count 1000 --timeout 5 --json\n";

constexpr const char* kAskSnapExamples =
    "Examples:\n"
    "  dorven-host ask-snap\n"
    "  dorven-host ask-snap --json\n"
    "  dorven-host ask-snap --timeout 2\n";

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
        ->check(options::existingFile())
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

std::string helpOf(const LimitRow& row) {
    const char* const range = row.whole ? "0 to 2^53 " : "0 to 1e12 ";
    return std::string(row.help) + "; " + range + row.unit + " (default: no limit)";
}

void addGrabOptions(CLI::App& command, HostOptions& options) {
    command.add_option("--config", options.configFile, "Configuration file for the camera (default: its own defaults)")
        ->check(options::existingFile())
        ->type_name("FILE");
    command.add_option("--count", options.imageCount, "End after that many images; 0: at Ctrl-C (default 0)")
        ->check(options::within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction"))
        ->type_name("IMAGES");
    command
        .add_option("--timeout", options.timeoutSeconds,
                    "End with exit code 3 when no image came for that long, 0.01 to 86400 s (default 30; the camera "
                    "itself begins to fake images after 22 s)")
        ->check(options::within(kMinTimeout, kMaxTimeout, "0.01 to 86400"))
        ->type_name("SECONDS");
    addSaveOptions(command, options);
}

void addJsonLines(CLI::App& command, HostOptions& options) {
    CLI::Option* lines = command.add_flag("--json-lines", options.jsonLines,
                                          "Print a JSON object on standard output each second, and one at the end");
    lines->excludes(command.get_option("--json"));
    command.add_flag("--frames", options.frames, "With --json-lines: one for each image too")->needs(lines);
}

void addLimits(CLI::App& command, HostOptions& options) {
    for (std::size_t index = 0; index < kLimitCount; ++index) {
        const LimitRow& row = limitRows()[index];
        const auto limits =
            row.whole ? options::within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction")
                      : options::within(0.0, kMaxLimit, "0 to 1e12");
        command.add_option(row.option, options.limits[index], helpOf(row))
            ->check(limits)
            ->type_name(row.unit)
            ->group("Limits, exit code 1 when one is broken");
    }
}

constexpr const char* kVerifyHelp =
    "The simulator writes the log with --fault-log. Each fault in it names what a host must find; each finding of the\n"
    "grab must have been injected. What the host could not see does not count: frames before the first and behind the\n"
    "last one that came since the grab began, and images that waited in the ring from before. A stop (crash, hang) is\n"
    "found when no image came for --timeout, or the camera began to fake images. Lateness that was not injected\n"
    "counts with --max-latency-us alone.\n"
    "\n";

constexpr const char* kVerifyExamples =
    "Examples:\n"
    "  dorven-host verify --fault-log faults.jsonl --count 1000\n"
    "  dorven-host verify --fault-log faults.jsonl --config camera.ini --count 1000 --json\n"
    "  dorven-host verify --fault-log faults.jsonl --findings grab.json\n";

// After the options of a grab, none of which goes with --findings.
void addVerifyOptions(CLI::App& command, HostOptions& options) {
    const auto grabOptions = command.get_options();
    command.add_option("--fault-log", options.faultLog, "The simulator's fault log, read after the grab")
        ->required()
        ->type_name("FILE");
    CLI::Option* findings =
        command.add_option("--findings", options.findingsFile,
                           "Do not grab: compare what grab --json or --json-lines printed into "
                           "that file; lateness then counts when it was given --max-latency-us. Goes "
                           "with --fault-log, --allow-explained and --json alone");
    findings->check(options::existingFile())->type_name("FILE");
    for (CLI::Option* option : grabOptions)
        if (!option->check_lname("help") && !option->check_lname("json")) findings->excludes(option);
    command.add_flag("--allow-explained", options.allowExplained,
                     "Findings that the simulator's log explains as not injected (the ring was full, the simulator was "
                     "too late) are no mismatch");
}

void addAskSnapOptions(CLI::App& command, HostOptions& options, double& timeoutSeconds) {
    command.add_flag("--json", options.json, "Print one JSON object on standard output");
    command
        .add_option("--timeout", timeoutSeconds,
                    "End with exit code 3 when no answer came for that long, 0.01 to 86400 s (default 12; a link that "
                    "was broken heals within about 10 s)")
        ->check(options::within(kMinTimeout, kMaxTimeout, "0.01 to 86400"))
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
    addJsonLines(*grab, options);
    addLimits(*grab, options);
    CLI::App* verify = app.add_subcommand("verify", "Grab, and compare what was found with the simulator's fault log");
    addCommonOptions(*verify, options);
    addGrabOptions(*verify, options);
    addJsonLines(*verify, options);
    addLimits(*verify, options);
    addVerifyOptions(*verify, options);
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
        "\n"
        "Exit codes: 0 done, 1 failed or a limit broken, 2 wrong usage, 3 no image or answer in time, 4 connection "
        "lost.";
    app.footer(
        "Examples:\n"
        "  dorven-host info\n"
        "  dorven-host grab --count 300\n"
        "  dorven-host snap picture.png\n"
        "  dorven-host verify --fault-log faults.jsonl --count 1000\n"
        "  dorven-host doctor --config camera.ini\n"
        "  dorven-host config --show\n" +
        footer);
    info->footer(kCommandsHelp + (kInfoExamples + footer));
    call->footer(kCallHelp + (kCallExamples + footer));
    grab->footer(kGrabExamples + footer);
    verify->footer(kVerifyHelp + (kVerifyExamples + footer));
    bench->footer(bench->get_footer() + footer);
    doctor->footer(doctor->get_footer() + footer);
    snap->footer(snap->get_footer() + footer);
    askSnap->footer(kAskSnapHelp + (kAskSnapExamples + footer));
    if (const auto exitCode = options::parse(app, argc, argv, data, people)) return exitCode;
    if (app.get_subcommands().empty()) {
        people << "A subcommand is required: info, grab, snap, verify, doctor, bench, call or ask-snap\nRun with "
                  "--help for more "
                  "information.\n";
        return kExitWrongUsage;
    }
    if (askSnap->parsed()) {
        options.command = HostOptions::Command::askSnap;
        options.timeoutSeconds = askTimeoutSeconds;
    }
    if (grab->parsed()) options.command = HostOptions::Command::grab;
    if (verify->parsed()) options.command = HostOptions::Command::verify;
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
