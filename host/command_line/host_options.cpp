#include "host_options.h"

#include <initializer_list>
#include <string>

#include <CLI/CLI.hpp>

#include "command_help.h"
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

void addInfoOptions(CLI::App& command, InfoOptions& options) {
    addCommonOptions(command, options);
    command.add_flag("--commands", options.commands, "Show how the device answers each of its commands");
}

void addCallOptions(CLI::App& command, CallOptions& options) {
    addCommonOptions(command, options);
    command.add_option("ID", options.id, "Number of the command, such as 1107")->required()->type_name("");
    command.add_option("VALUE", options.value, "Its parameter")->type_name("");
    command.add_flag("--open", options.open, "Open the device (command 1001) with its defaults before the command");
    command
        .add_option("--config", options.configFile,
                    "Open the device (command 1001) with this configuration file before the command")
        ->check(options::existingFile())
        ->type_name("FILE");
}

// What is wrong with the command's VALUE; the device itself answers for ids that are unknown.
std::string problemOfCall(const CallOptions& options) {
    const DeviceCommand* command = findDeviceCommand(options.id);
    if (!command) return "";
    const std::string problem = command->problem(options.value);
    if (problem.empty()) return "";
    return "VALUE: command " + std::to_string(command->id) + " (" + command->operation + "): " + problem;
}

std::string defaultOf(const LimitRow& row) {
    switch (row.setBy) {
        case SetBy::countingLimit:
            return "0 when a limit that counts images or their rate is given, else no limit";
        case SetBy::rateLimit:
            return "2 when --min-fps is given, else no limit";
        case SetBy::saving:
            return "0 with --output, else no limit";
        case SetBy::nothing:
            break;
    }
    return "no limit";
}

std::string helpOf(const LimitRow& row) {
    const char* const range = row.whole ? "0 to 2^53 " : "0 to 1e12 ";
    return std::string(row.help) + "; " + range + row.unit + " (default: " + defaultOf(row) + ')';
}

void addGrabbingOptions(CLI::App& command, GrabOptions& options) {
    command.add_option("--config", options.configFile, "Configuration file for the camera (default: its own defaults)")
        ->check(options::existingFile())
        ->type_name("FILE");
    command
        .add_option("--count", options.imageCount,
                    "End after that many images that were complete after the grab began; 0: at Ctrl-C (default 0)")
        ->check(options::within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction"))
        ->type_name("IMAGES");
    command
        .add_option("--timeout", options.timeoutSeconds,
                    "End with exit code 3 when no image came for that long, 0.01 to 86400 s (default 30; the camera "
                    "itself begins to fake images after 22 s)")
        ->check(options::within(kMinTimeout, kMaxTimeout, "0.01 to 86400"))
        ->type_name("SECONDS");
    addShareOption(command, options);
    addSaveOptions(command, options.save);
}

void addJsonLines(CLI::App& command, GrabOptions& options) {
    CLI::Option* lines = command.add_flag("--json-lines", options.jsonLines,
                                          "Print a JSON object on standard output each second, and one at the end");
    lines->excludes(command.get_option("--json"));
    command.add_flag("--frames", options.frames, "With --json-lines: one for each image too")->needs(lines);
}

void addLimits(CLI::App& command, GrabOptions& options) {
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

void addGrabOptions(CLI::App& command, GrabOptions& options) {
    addCommonOptions(command, options);
    addGrabbingOptions(command, options);
    addJsonLines(command, options);
    command.add_flag("--all", options.all, "Show every number in the table, also what is 0 or was not measured");
    addLimits(command, options);
}

// Behind the options of a grab, none of which goes with --findings.
void addVerifyOptions(CLI::App& command, VerifyOptions& options) {
    addGrabOptions(command, options);
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

void addAskSnapOptions(CLI::App& command, AskSnapOptions& options) {
    command.add_flag("--json", options.json, "Print one JSON object on standard output");
    command
        .add_option("--timeout", options.timeoutSeconds,
                    "End with exit code 3 when no answer came for that long, 0.01 to 86400 s (default 12; a link that "
                    "was broken heals within about 10 s)")
        ->check(options::within(kMinTimeout, kMaxTimeout, "0.01 to 86400"))
        ->type_name("SECONDS");
}

struct CommandRow {
    HostOptions::Command command;
    const char* name;
    const char* summary;
    const char* help;  // behind the options: notes and examples
    void (*addOptions)(CLI::App& command, HostOptions& options);
};

template <auto Options, auto Add>
void addOptionsOf(CLI::App& command, HostOptions& options) {
    Add(command, options.*Options);
}

using Command = HostOptions::Command;

constexpr CommandRow kCommandRows[] = {
    {Command::info, "info", "Show the plugin's device: identity, kinds, properties, document", kInfoHelp,
     addOptionsOf<&HostOptions::info, addInfoOptions>},
    {Command::grab, "grab", "Receive images, verify each from its pixels, measure, save", kGrabHelp,
     addOptionsOf<&HostOptions::grab, addGrabOptions>},
    {Command::verify, "verify", "Grab, and compare what was found with the simulator's fault log", kVerifyHelp,
     addOptionsOf<&HostOptions::verify, addVerifyOptions>},
    {Command::snap, "snap", "Save one image in a file", kSnapHelp, addOptionsOf<&HostOptions::snap, addSnapOptions>},
    {Command::doctor, "doctor", "Look at all that a grab needs and say what to do about it", kDoctorHelp,
     addOptionsOf<&HostOptions::doctor, addDoctorOptions>},
    {Command::bench, "bench", "Measure this machine with simulator and plugin, beside bare limits", kBenchHelp,
     addOptionsOf<&HostOptions::bench, addBenchOptions>},
    {Command::call, "call", "Send one command to the plugin's device", kCallHelp,
     addOptionsOf<&HostOptions::call, addCallOptions>},
    {Command::askSnap, "ask-snap", "Ask the simulator to take a picture, over the link, as a camera", kAskSnapHelp,
     addOptionsOf<&HostOptions::askSnap, addAskSnapOptions>},
};

/// A program's commands. They write into options while the command line is parsed.
void addCommands(CLI::App& app, HostOptions& options) {
    for (const CommandRow& row : kCommandRows) {
        CLI::App* const command = app.add_subcommand(row.name, row.summary);
        row.addOptions(*command, options);
        command->footer(std::string(row.help) + kExitCodes);
        command->final_callback([&options, &row] { options.command = row.command; });
    }
    addBenchPartner(app, options);
}

std::string problemOfStream(const HostOptions& options) {
    switch (options.command) {
        case Command::grab:
            return problemOfStream(options.grab.save, options.grab.json, options.grab.jsonLines);
        case Command::verify:
            return problemOfStream(options.verify.save, options.verify.json, options.verify.jsonLines);
        case Command::snap:
            return problemOfStream(options.snap);
        default:
            return "";
    }
}

void nameThePlugin(HostOptions& options) {
    for (CommonOptions* const common :
         std::initializer_list<CommonOptions*>{&options.info, &options.grab, &options.verify, &options.snap,
                                               &options.doctor, &options.bench, &options.call}) {
        if (common->pluginPath.empty()) common->pluginPath = defaultPluginPath();
    }
}

}  // namespace

bool writesImages(const HostOptions& options) {
    switch (options.command) {
        case Command::grab:
            return isStandardOutput(options.grab.save.folder);
        case Command::verify:
            return isStandardOutput(options.verify.save.folder);
        case Command::snap:
            return isStandardOutput(options.snap.file);
        default:
            return false;
    }
}

std::optional<int> parseHostOptions(int argc, const char* const* argv, HostOptions& options, std::ostream& data,
                                    std::ostream& people) {
    CLI::App app("Loads a camera plugin as a measuring host does, and shows what it offers or what it delivers.",
                 "dorven-host");
    app.set_version_flag("--version", std::string("dorven-host ") + DORVEN_VERSION);
    app.require_subcommand(0, 1);  // none is told below: here it would hide what else is wrong
    app.footer(std::string(kHelp) + kExitCodes);
    addCommands(app, options);
    const auto refuse = [&people](const std::string& problem) {
        people << problem << "\nRun with --help for more information.\n";
        return kExitWrongUsage;
    };
    if (const auto exitCode = options::parse(app, argc, argv, data, people)) return exitCode;
    if (app.get_subcommands().empty())
        return refuse("A subcommand is required: info, grab, verify, snap, doctor, bench, call or ask-snap");
    if (options.command == HostOptions::Command::call) {
        options.call.open = options.call.open || !options.call.configFile.empty();
        if (const std::string problem = problemOfCall(options.call); !problem.empty()) return refuse(problem);
    }
    if (const std::string problem = problemOfStream(options); !problem.empty()) return refuse(problem);
    nameThePlugin(options);
    return std::nullopt;
}

}  // namespace host
