#include "host_options.h"

#include <cstdint>
#include <limits>
#include <string>

#include <CLI/CLI.hpp>

#include "command_help.h"
#include "device_commands.h"
#include "log_options.h"
#include "option_checks.h"
#include "option_sources.h"
#include "save_options.h"
#include "shared_options.h"
#include "tool_options.h"

namespace host {
namespace {

constexpr double kMaxLimit = 1e12;
constexpr const char* kLimitGroup = "Limits: 0 to 2^53, or 1e12 with a fraction; exit code 1 when one is broken";

void addInfoOptions(CLI::App& command, InfoOptions& options) {
    addCommonOptions(command, options);
    command.add_flag("--commands", options.commands, "Show how the device answers each of its commands");
}

void addCallOptions(CLI::App& command, CallOptions& options) {
    command.add_option("ID", options.id, "Number of the command, such as 1107")
        ->check(options::within(std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(),
                                "-2147483648 to 2147483647, without a fraction"))
        ->required()
        ->type_name("");
    command.add_option("VALUE", options.value, "Parameter of the command")->type_name("");
    addConfigFile(command, options, "Open the device (command 1001) with this configuration file before the command");
    command.add_flag("--open", options.open, "Open the device (command 1001) with its defaults before the command");
    addCommonOptions(command, options);
}

// What is wrong with the command's VALUE; for unknown ids the device itself answers.
std::string problemOfCall(const CallOptions& options) {
    const DeviceCommand* command = findDeviceCommand(options.id);
    if (!command) return "";
    const std::string problem = command->problem(options.value);
    if (problem.empty()) return "";
    return "VALUE: command " + std::to_string(command->id) + " (" + command->operation + "): " + problem;
}

// "" where there is no limit without the option.
std::string defaultOf(const LimitRow& row) {
    switch (row.setBy) {
        case SetBy::countingLimit:
            return " (default: 0 with a limit on images or their rate)";
        case SetBy::rateLimit:
            return " (default: 2 with --min-fps)";
        case SetBy::saving:
            return " (default: 0 with --output)";
        case SetBy::nothing:
            break;
    }
    return "";
}

// No plain flag: not given is something else than false, and of several the last one counts.
void addRequireSimulator(CLI::App& command, GrabOptions& options) {
    command
        .add_flag_function(
            "--require-simulator,!--no-require-simulator",
            [&options](std::int64_t given) { options.requireSimulator = given > 0; },
            "End when the camera begins to fake images: with exit code 3 when no simulator came before, with 4 when "
            "one came and went (default: when a limit is given that counts images or their rate, unless --max-faked "
            "allows faked ones)")
        ->take_last()
        ->default_str("as the limits need");
}

void addGrabbingOptions(CLI::App& command, GrabOptions& options) {
    options::addCount(command, options.imageCount,
                      "End after that many images that were complete after the grab began, 0 to 2^53; 0: no end before "
                      "Ctrl-C (default: 0)");
    options::addDuration(command, options.durationNs);
    addConfigFile(command, options);
    options::addTimeout(command, options.timeoutSeconds,
                        "End with exit code 3 when no image came for that long, 0.01 to 86400 s (default: 30; the "
                        "camera itself begins to fake images after 22 s)");
    options::addQuiet(command, options.quiet);
    addRequireSimulator(command, options);
    addShareOption(command, options);
}

void addJsonLines(CLI::App& command, GrabOptions& options) {
    CLI::Option* lines = command.add_flag("--json-lines", options.jsonLines,
                                          "Print a JSON object on standard output each second, and one at the end");
    lines->excludes(command.get_option("--json"));
    command.add_flag("--frames", options.frames, "With --json-lines: also one for each image")->needs(lines);
}

void addLimits(CLI::App& command, GrabOptions& options) {
    for (std::size_t index = 0; index < kLimitCount; ++index) {
        const LimitRow& row = limitRows()[index];
        const auto limits =
            row.whole ? options::within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction")
                      : options::within(0.0, kMaxLimit, "0 to 1e12");
        command.add_option(row.option, options.limits[index], row.help + defaultOf(row))
            ->check(limits)
            ->type_name("N")
            ->group(kLimitGroup);
    }
}

void addGrabOptions(CLI::App& command, GrabOptions& options) {
    addGrabbingOptions(command, options);
    addCommonOptions(command, options);
    addJsonLines(command, options);
    addSaveOptions(command, options.save);
    command.add_flag("--all", options.all, "Show every number in the table, also what is 0 or was not measured");
    addLimits(command, options);
}

// Added after the options of a grab, none of which may be combined with --findings.
void addVerifyOptions(CLI::App& command, VerifyOptions& options) {
    CLI::Option* const log = command.add_option("--fault-log", options.faultLog, "The simulator's fault log; required");
    log->type_name("FILE.jsonl");
    addGrabOptions(command, options);
    const auto grabOptions = command.get_options();
    command.option_defaults()->group("Comparing");
    CLI::Option* findings =
        command.add_option("--findings", options.findingsFile,
                           "Do not grab, but read this output of grab --json or --json-lines; lateness counts if "
                           "that grab had --max-latency-us. Goes with --fault-log, --allow-explained and --json only");
    findings->check(options::existingFile())->type_name("FILE.json");
    for (CLI::Option* option : grabOptions)
        if (option != log && !option->check_lname("help") && !option->check_lname("json")) findings->excludes(option);
    command.add_flag("--allow-explained", options.allowExplained,
                     "Accept findings that were not injected, but that the log explains: the ring was full, or the "
                     "simulator was too late");
    const auto others = command.get_options();
    CLI::Option* form = command.add_flag("--findings-template", options.printTemplate,
                                         "Print what another host writes for --findings, with an example of each "
                                         "finding, and end");
    for (CLI::Option* option : others)
        if (!option->check_lname("help")) form->excludes(option);
    command.option_defaults()->group("Options");
}

// CLI11's own rule would ask for the log beside --findings-template, too.
bool lacksFaultLog(const HostOptions& options) {
    return options.command == HostOptions::Command::verify && options.verify.faultLog.empty() &&
           !options.verify.printTemplate;
}

void addAskSnapOptions(CLI::App& command, AskSnapOptions& options) {
    options::addJson(command, options.json);
    options::addAnswerTimeout(command, options.timeoutSeconds);
}

struct CommandRow {
    HostOptions::Command command;
    const char* name;
    const char* summary;
    const char* help;  // after the options: notes and examples
    void (*addOptions)(CLI::App& command, HostOptions& options);
};

template <auto Options, auto Add>
void addOptionsOf(CLI::App& command, HostOptions& options) {
    Add(command, options.*Options);
}

using Command = HostOptions::Command;

constexpr CommandRow kCommandRows[] = {
    {Command::info, "info", "Show what the plugin's device is and offers", kInfoHelp,
     addOptionsOf<&HostOptions::info, addInfoOptions>},
    {Command::grab, "grab", "Receive images, verify each from its pixels, measure, save", kGrabHelp,
     addOptionsOf<&HostOptions::grab, addGrabOptions>},
    {Command::verify, "verify", "Grab, and compare the findings with the simulator's fault log", kVerifyHelp,
     addOptionsOf<&HostOptions::verify, addVerifyOptions>},
    {Command::snap, "snap", "Save one image in a file", kSnapHelp, addOptionsOf<&HostOptions::snap, addSnapOptions>},
    {Command::doctor, "doctor", "Check all that a grab needs, and say what to do", kDoctorHelp,
     addOptionsOf<&HostOptions::doctor, addDoctorOptions>},
    {Command::bench, "bench", "Measure this machine, and compare it with its bare limits", kBenchHelp,
     addOptionsOf<&HostOptions::bench, addBenchOptions>},
    {Command::call, "call", "Send one command to the plugin's device", kCallHelp,
     addOptionsOf<&HostOptions::call, addCallOptions>},
    {Command::askSnap, "ask-snap", "Ask the simulator to take a picture, as a camera does", kAskSnapHelp,
     addOptionsOf<&HostOptions::askSnap, addAskSnapOptions>},
};

/// A program's commands. They write into options while the command line is parsed.
void addCommands(CLI::App& app, HostOptions& options) {
    for (const CommandRow& row : kCommandRows) {
        CLI::App* const command = app.add_subcommand(row.name, row.summary);
        row.addOptions(*command, options);
        options::addLogOptions(*command, options.log);
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
    CLI::App app("Loads a camera plugin as a measuring host does, and shows what it offers or delivers.",
                 "dorven-host");
    options::addVersion(app, DORVEN_VERSION);
    app.require_subcommand(0, 1);  // a missing one is told below: here it would hide what else is wrong
    app.footer(std::string(kHelp) + kExitCodes);
    addCommands(app, options);
    if (const auto exitCode = options::parse(app, argc, argv, data, people)) return exitCode;
    if (app.get_subcommands().empty()) return options::refuseMissingCommand(app, people);
    if (lacksFaultLog(options))
        return options::refuse(
            app, "verify needs --fault-log FILE.jsonl; 'dorven-host help verify' shows what verify takes", people);
    if (options.command == HostOptions::Command::call) {
        options.call.open = options.call.open || !options.call.configFile.empty();
        if (const std::string problem = problemOfCall(options.call); !problem.empty())
            return options::refuse(app, problem, people);
    }
    if (const std::string problem = problemOfStream(options); !problem.empty())
        return options::refuse(app, problem, people);
    return std::nullopt;
}

}  // namespace host
