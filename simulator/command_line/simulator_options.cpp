#include "simulator_options.h"

#include <algorithm>
#include <vector>

#include <CLI/CLI.hpp>

#include "image_size.h"
#include "log_options.h"
#include "option_checks.h"
#include "option_sources.h"
#include "shared_options.h"
#include "strip.h"
#include "surroundings.h"

namespace simulator {
namespace {

constexpr std::size_t kMaxLines = 1000;
constexpr std::size_t kMaxMemoryMb = 1'000'000;
constexpr double kMinReaderTimeout = 0.001;
constexpr double kMaxTimeout = 86400.0;

std::string checkSize(const std::string& text) {
    frames::ImageFormat size;
    if (frames::parseSize(text, size)) return {};
    return "'" + text + "' is no image size such as 1280x1024, each side from 1 to " + std::to_string(frames::kMaxSide);
}

// Less than a millisecond would be rounded to 0, which means never.
std::string checkReaderTimeout(const std::string& text) {
    if (options::isWithin(text, 0.0, 0.0) || options::isWithin(text, kMinReaderTimeout, kMaxTimeout)) return {};
    return "'" + text + "' is neither 0 nor a number from 0.001 to 86400";
}

void addAskOptions(CLI::App& command, AskOptions& options) {
    options::addJson(command, options.json, "Print one JSON object on standard output, with --watch one a line");
    command.add_flag("--watch", options.watch, "Ask again each second, until Ctrl-C");
    options::addAnswerTimeout(command, options.timeoutSeconds);
}

// Options that wait until the whole line is read.
struct RawOptions {
    std::string size;
    std::string stripCell;
    std::string stripPlace;
    bool noStrip = false;
    bool noAsk = false;
    bool listed = true;  // nothing depends on it: a list is what patterns shows without --json
};

// The default of what the camera decides, if it answers.
std::string unlessTold(const char* otherwise) {
    return std::string("(default: what the camera answers, else what --config says, else ") + otherwise + ')';
}

void addStripOptions(CLI::App& app, RawOptions& raw) {
    app.add_option("--strip-cell", raw.stripCell,
                   "Form of the strip that proves each image: cells of 8 x 8 or 4 x 4 bytes, or one line with a byte "
                   "per bit; auto takes the first of them that fits (default: auto)")
        ->check(options::oneOf({"auto", "8", "4", "line"}))
        ->type_name("auto|8|4|line")
        ->default_str("auto");
    app.add_option("--strip-place", raw.stripPlace, "Where in the image the strip is (default: top)")
        ->check(options::oneOf({"top", "bottom"}))
        ->type_name("top|bottom")
        ->default_str("top");
    app.add_flag("--no-strip", raw.noStrip,
                 "Leave the strip black that proves each image; no host can then verify the images");
}

frames::StripWish stripWishOf(const RawOptions& raw) {
    frames::StripWish wish;
    for (std::size_t form = 0; form < frames::kStripForms.size(); ++form)
        if (raw.stripCell == frames::kStripForms[form].name) wish.form = static_cast<frames::StripForm>(form);
    if (raw.stripPlace == "bottom") wish.place = frames::StripPlace::bottom;
    return wish;
}

void addImageOptions(CLI::App& app, SimulatorOptions& options, RawOptions& raw) {
    app.add_option("--size", raw.size, "Width and height in pixels, each 1 to 65536 " + unlessTold("1280x1024"))
        ->check(CLI::Validator(checkSize, "", "size"))
        ->type_name("WIDTHxHEIGHT");
    app.add_option("--bytes-per-pixel", options.bytesPerPixel, "1 to 16 " + unlessTold("1"))
        ->check(options::within(std::size_t{1}, frames::kMaxBytesPerPixel, "1 to 16"))
        ->type_name("BYTES");
    app.add_option("-c,--config", options.configFile,
                   "The camera's configuration file; it sets size and bytes per pixel while no camera answers")
        ->check(options::existingFile())
        ->type_name("FILE.ini");
    app.add_option("--max-memory", options.maxMemoryMb,
                   "Memory for ring, pattern and pictures together, 1 to 1000000 MB; larger images are refused, also "
                   "when the camera asks for them (default: a quarter of the machine's memory)")
        ->check(options::within(std::size_t{1}, kMaxMemoryMb, "1 to 1000000, without a fraction"))
        ->type_name("MB");
    addStripOptions(app, raw);
    app.add_flag("--no-ask", raw.noAsk,
                 "Do not ask the camera for size and bytes per pixel, and do not answer its questions");
}

void addPacingOptions(CLI::App& app, PacingOptions& options) {
    app.add_option_function<std::string>(
           "--fps",
           [&options](const std::string& text) {
               std::string error;
               const auto rate = parseFrameRate(text, error);
               if (!rate) throw CLI::ValidationError("--fps", error);
               options.framesPerSecond = *rate;
               options.rateIsGiven = true;
           },
           "Images per second, 0.01 to 10000, kept exactly: a decimal such as 59.94 or a fraction such as 60000/1001 "
           "(default: 100, or what a stream says)")
        ->type_name("RATE")
        ->default_str("100");
    options::addCount(app, options.frameCount,
                      "End after that many images, 0 to 2^53; 0: no end before Ctrl-C (default: 0)");
    options::addDuration(app, options.durationNs);
    app.add_option_function<std::string>(
           "--late",
           [&options](const std::string& text) {
               options.late = text == "burst" ? LatePolicy::burst : LatePolicy::skip;
           },
           "Images that are late by more than half a ring: skip leaves them out, and their numbers are missing; burst "
           "delivers all of them back to back (default: skip)")
        ->check(options::oneOf({"skip", "burst"}))
        ->type_name("skip|burst")
        ->default_str("skip");
}

void addRingOptions(CLI::App& app, DeliveryOptions& options) {
    app.add_option("--lines", options.lineCount, "Images that the ring holds, 1 to 1000 (default: 8)")
        ->check(options::within(std::size_t{1}, kMaxLines, "1 to 1000"))
        ->type_name("IMAGES");
    app.add_option("--reader-timeout", options.readerTimeoutSeconds,
                   "A reader that has not moved for that long while the ring is full counts as dead, and the ring is "
                   "recreated; a reader that was only paused comes back. 0.001 to 86400 s; 0: never (default: 10)")
        ->check(CLI::Validator(checkReaderTimeout, "", "reader-timeout"))
        ->type_name("SECONDS");
}

void addFaultOption(CLI::App& app, FaultOptions& options) {
    std::vector<std::string> names;
    for (const FaultRow& row : faultTable()) names.emplace_back(row.name);
    app.add_option_function<std::vector<std::string>>(
           "--fault",
           [&options](const std::vector<std::string>& texts) {
               // Read again, because this is called again when the environment or the user's file sets other options.
               std::vector<FaultRequest> requests;
               std::string error;
               for (const std::string& text : texts) {
                   const auto fault = parseFault(text, error);
                   if (!fault) throw CLI::ValidationError("--fault", error);
                   requests.push_back(*fault);
               }
               options.requests = std::move(requests);
           },
           "Inject a fault; may be given again. NAME: " + options::listOf(names) +
               ". TIME with its unit: 20ms. WHEN: 100, 100-200, from:100, every:50, p:0.01 (of all frames) or t:3s "
               "(after the start); frames count from 0 (default: at once)")
        ->allow_extra_args(false)
        ->check(options::offering(names, [](const std::string&) { return std::string(); }))
        ->type_name("NAME[:TIME][@WHEN]");
}

void addScriptOptions(CLI::App& app, FaultOptions& options) {
    app.add_option("--scenario", options.scenarioFile,
                   "Inject the faults of a scenario file; changes of the file count from the next image on")
        ->check(options::regularFile())
        ->type_name("FILE.json");
    app.add_option("--seed", options.seed,
                   "Seed of all that is random about the faults, 0 to 2^53; the same seed and options give the same "
                   "faults (default: a new one each time, shown on standard error)")
        ->check(options::within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction"))
        ->type_name("NUMBER");
    app.add_option("--fault-log", options.logFile,
                   "Write a JSON line for each fault, with what a host must find because of it")
        ->type_name("FILE.jsonl");
    app.add_flag("--no-faults", options.off, "Inject no fault, whatever other options and scenarios say");
}

struct Commands {
    CLI::App* ask;
    CLI::App* list;
};

Commands addCommands(CLI::App& app, SimulatorOptions& options, RawOptions& raw) {
    Commands commands{};
    app.require_subcommand(0, 1);
    commands.ask = app.add_subcommand("ask", "Ask the camera for its image size and format");
    addAskOptions(*commands.ask, options.asking);
    options::addLogOptions(*commands.ask, options.log);
    commands.list = app.add_subcommand("patterns", "Show the patterns that can be drawn");
    commands.list->add_flag("--list", raw.listed, "Show them as a table (default)")->default_str("true");
    options::addJson(*commands.list, options.listsAsJson);
    return commands;
}

void addFooters(CLI::App& app, const Commands& commands) {
    const std::string asking =
        "\n"
        "The simulator asks the camera every second over their link; when the camera's format changes, the images "
        "change, too. Only one program can ask: ask fails while a simulator runs that was started without --no-ask.\n";
    const std::string exitCodes = "\nExit codes: 0 done, 1 failed, 2 wrong usage, 3 no answer in time (ask).";
    app.footer(
        "Examples:\n"
        "  dorven-simulator --size 1280x1024 --fps 200\n"
        "  dorven-simulator -c camera.ini -n 1000\n"
        "  dorven-simulator --images pictures --fps 25 --duration 1min\n"
        "  dorven-simulator --pattern circle --motion sine --truth truth.jsonl\n"
        "  dorven-simulator --fault drop@every:50 --seed 42 --fault-log faults.jsonl\n"
        "\n"
        "Each image has a number and carries it. An image that is late by more than half a ring, or that finds the "
        "ring "
        "full, still uses its number, so that a host sees the gap. Faults: docs/faults.md.\n" +
        asking + exitCodes);
    commands.list->footer(
        "Examples:\n"
        "  dorven-simulator patterns\n"
        "  dorven-simulator patterns --list\n"
        "  dorven-simulator patterns --json\n" +
        exitCodes);
    commands.ask->footer(
        "Examples:\n"
        "  dorven-simulator ask\n"
        "  dorven-simulator ask --json\n"
        "  dorven-simulator ask --watch --timeout 5\n" +
        asking + exitCodes);
}

// An option of the program itself that was given with a subcommand; empty: there is none.
std::string optionBesideSubcommand(const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->count() > 0) return option->get_name();
    }
    return "";
}

// An option of a run that was given with another command; empty: there is none.
std::string takeCommand(const CLI::App& app, const Commands& commands, SimulatorOptions& options) {
    if (commands.ask->parsed()) {
        options.command = SimulatorOptions::Command::ask;
    } else if (commands.list->parsed()) {
        options.command = SimulatorOptions::Command::patterns;
    } else {
        return "";
    }
    return optionBesideSubcommand(app);
}

}  // namespace

std::optional<int> parseSimulatorOptions(int argc, const char* const* argv, SimulatorOptions& options,
                                         std::ostream& data, std::ostream& people) {
    return parseSimulatorOptions(argc, argv, options, data, people, platform_surroundings());
}

std::optional<int> parseSimulatorOptions(int argc, const char* const* argv, SimulatorOptions& options,
                                         std::ostream& data, std::ostream& people, const Surroundings& surroundings) {
    CLI::App app(
        "Plays the other side of the camera: writes images into shared memory, where the camera plugin of a measuring "
        "host takes them.",
        "dorven-simulator");
    options::addVersion(app, DORVEN_VERSION);
    RawOptions raw;
    app.option_defaults()->group("Images");
    addImageOptions(app, options, raw);
    app.option_defaults()->group("Pacing");
    addPacingOptions(app, options.pacing);
    addRingOptions(app, options.delivery);
    app.option_defaults()->group("Patterns");
    PatternCommandLine pattern(app, options.pattern);
    app.option_defaults()->group("Your own pictures instead of a pattern");
    PictureCommandLine pictures(app, options.pictures);
    app.option_defaults()->group("Faults");
    addFaultOption(app, options.faults);
    addScriptOptions(app, options.faults);
    app.option_defaults()->group("Options");
    options::addLogOptions(app, options.log);
    options::addQuiet(app, options.quiet);
    const Commands commands = addCommands(app, options, raw);
    addFooters(app, commands);
    if (const auto exitCode = options::parse(app, argc, argv, data, people, surroundings)) return exitCode;
    const std::string stray = takeCommand(app, commands, options);
    if (!stray.empty())
        return options::refuse(app, stray + " does not go with " + app.get_subcommands().front()->get_name(), people);
    std::string problem = pattern.take();
    if (problem.empty()) problem = pictures.take(pattern.firstGiven());
    if (!problem.empty()) return options::refuse(app, problem, people);
    options.ask = !raw.noAsk;
    options.delivery.strip = !raw.noStrip;
    options.pattern.settings.strip = options.pictures.strip = stripWishOf(raw);
    if (!raw.size.empty()) frames::parseSize(raw.size, options.size.emplace());
    return std::nullopt;
}

}  // namespace simulator
