#include "simulator_options.h"

#include <algorithm>
#include <vector>

#include <CLI/CLI.hpp>

#include "image_size.h"
#include "option_checks.h"
#include "option_sources.h"
#include "strip.h"
#include "surroundings.h"

namespace simulator {
namespace {

constexpr int kWrongUsage = 2;
constexpr std::size_t kMaxLines = 1000;
constexpr std::size_t kMaxMemoryMb = 1'000'000;
constexpr double kMinTimeout = 0.01;
constexpr double kMinReaderTimeout = 0.001;
constexpr double kMaxTimeout = 86400.0;

std::string checkLate(const std::string& text) {
    return text == "skip" || text == "burst" ? std::string() : "'" + text + "' is none of skip, burst";
}

std::string checkSize(const std::string& text) {
    frames::ImageFormat size;
    if (frames::parseSize(text, size)) return {};
    return "'" + text + "' is no image size such as 1280x1024, each side from 1 to " + std::to_string(frames::kMaxSide);
}

// Less than a millisecond would be rounded to none, and none means never.
std::string checkReaderTimeout(const std::string& text) {
    if (options::isWithin(text, 0.0, 0.0) || options::isWithin(text, kMinReaderTimeout, kMaxTimeout)) return {};
    return "'" + text + "' is neither 0 nor a number from 0.001 to 86400";
}

void addAskOptions(CLI::App& command, AskOptions& options) {
    command.add_flag("--json", options.json, "Print one JSON object on standard output, with --watch one a line");
    command.add_flag("--watch", options.watch, "Ask again each second, until Ctrl-C");
    command
        .add_option("--timeout", options.timeoutSeconds,
                    "End with exit code 3 when no answer came for that long, 0.01 to 86400 s (default 12; a link that "
                    "was broken heals within about 10 s)")
        ->check(options::within(kMinTimeout, kMaxTimeout, "0.01 to 86400"))
        ->type_name("SECONDS");
}

// What stays aside until the whole line is read.
struct RawOptions {
    std::string size;
    std::string stripCell;
    std::string stripPlace;
    bool noStrip = false;
    bool noAsk = false;
    bool listed = true;  // nothing depends on it: a list is what patterns shows without --json
};

// Names of kStripForms after "auto", as --strip-cell takes them.
std::string checkStripCell(const std::string& text) {
    const auto named = [&text](const frames::StripFormRow& row) { return text == row.name; };
    if (text == "auto" || std::ranges::any_of(frames::kStripForms, named)) return {};
    return "'" + text + "' is none of auto, 8, 4, line";
}

std::string checkStripPlace(const std::string& text) {
    return text == "top" || text == "bottom" ? std::string() : "'" + text + "' is none of top, bottom";
}

void addStripOptions(CLI::App& app, RawOptions& raw) {
    app.add_option("--strip-cell", raw.stripCell,
                   "Form of the strip that proves each image: cells of 8 x 8 or 4 x 4 bytes, or one line with a byte "
                   "per bit; auto takes the first of them that fits (default auto)")
        ->check(CLI::Validator(checkStripCell, ""))
        ->type_name("auto|8|4|line")
        ->default_str("auto");
    app.add_option("--strip-place", raw.stripPlace, "Where in the image the strip is (default top)")
        ->check(CLI::Validator(checkStripPlace, ""))
        ->type_name("top|bottom")
        ->default_str("top");
    app.add_flag("--no-strip", raw.noStrip,
                 "Leave the strip that proves each image black, so that no host can verify it");
}

frames::StripWish stripWishOf(const RawOptions& raw) {
    frames::StripWish wish;
    for (std::size_t form = 0; form < frames::kStripForms.size(); ++form)
        if (raw.stripCell == frames::kStripForms[form].name) wish.form = static_cast<frames::StripForm>(form);
    if (raw.stripPlace == "bottom") wish.place = frames::StripPlace::bottom;
    return wish;
}

void addImageOptions(CLI::App& app, SimulatorOptions& options, RawOptions& raw) {
    app.add_option(
           "--size", raw.size,
           "Width and height in pixels, each 1 to 65536 (default as the camera answers, else as --config says, else "
           "1280x1024)")
        ->check(CLI::Validator(checkSize, "", "size"))
        ->type_name("WIDTHxHEIGHT");
    app.add_option("--bytes-per-pixel", options.bytesPerPixel,
                   "1 to 16 (default as the camera answers, else as --config says, else 1)")
        ->check(options::within(std::size_t{1}, frames::kMaxBytesPerPixel, "1 to 16"))
        ->type_name("BYTES");
    app.add_option(
           "--config", options.configFile,
           "The camera's own configuration file: takes size and bytes per pixel from it while no camera answers")
        ->check(options::existingFile())
        ->type_name("FILE.ini");
    app.add_option("--max-memory", options.maxMemoryMb,
                   "Memory that ring, pattern and pictures may take together, 1 to 1000000 MB: larger images are "
                   "refused, also those that the camera asks for (default a quarter of the machine's)")
        ->check(options::within(std::size_t{1}, kMaxMemoryMb, "1 to 1000000, without a fraction"))
        ->type_name("MB");
    app.add_option("--count", options.pacing.frameCount, "End after that many images; 0: at Ctrl-C (default 0)")
        ->check(options::within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction"))
        ->type_name("IMAGES");
    addStripOptions(app, raw);
    app.add_flag("--no-ask", raw.noAsk, "Do not ask the camera for size and bytes per pixel, nor answer what it asks");
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
           "Images per second, 0.01 to 10000, kept exactly: a decimal such as 59.94, or a fraction such as 60000/1001 "
           "(default 100, or what a stream says)")
        ->type_name("RATE")
        ->default_str("100");
    app.add_option_function<std::string>(
           "--late",
           [&options](const std::string& text) {
               options.late = text == "burst" ? LatePolicy::burst : LatePolicy::skip;
           },
           "What becomes of images that are late by more than half a ring: skip leaves them out, and their "
           "numbers show it; burst delivers all of them, one straight after the other (default skip)")
        ->check(CLI::Validator(checkLate, ""))
        ->type_name("skip|burst")
        ->default_str("skip");
}

void addRingOptions(CLI::App& app, DeliveryOptions& options) {
    app.add_option("--lines", options.lineCount, "Images that the ring holds, 1 to 1000 (default 8)")
        ->check(options::within(std::size_t{1}, kMaxLines, "1 to 1000"))
        ->type_name("IMAGES");
    app.add_option("--reader-timeout", options.readerTimeoutSeconds,
                   "A reader that has not moved for that long while the ring is full counts as dead: the ring is laid "
                   "anew, and one that was only paused comes back. 0.001 to 86400 s; 0: never (default 10)")
        ->check(CLI::Validator(checkReaderTimeout, "", "reader-timeout"))
        ->type_name("SECONDS");
}

void addFaultOption(CLI::App& app, FaultOptions& options) {
    std::string names;
    for (const FaultRow& row : faultTable()) names.append(names.empty() ? "" : ", ").append(row.name);
    app.add_option_function<std::vector<std::string>>(
           "--fault",
           [&options](const std::vector<std::string>& texts) {
               // Afresh: it is called again when the environment or the user's file fill other options.
               std::vector<FaultRequest> requests;
               std::string error;
               for (const std::string& text : texts) {
                   const auto fault = parseFault(text, error);
                   if (!fault) throw CLI::ValidationError("--fault", error);
                   requests.push_back(*fault);
               }
               options.requests = std::move(requests);
           },
           "Provoke a fault; may be given again. NAME: " + names +
               ". TIME with its unit: 20ms. WHEN: 100, 100-200, from:100, every:50, p:0.01 (of all frames) or t:3s "
               "(after the start); frames count from 0 (default: at once)")
        ->allow_extra_args(false)
        ->type_name("NAME[:TIME][@WHEN]");
}

void addScriptOptions(CLI::App& app, FaultOptions& options) {
    app.add_option("--scenario", options.scenarioFile,
                   "Provoke the faults of a scenario file; it is watched, and its changes count from the next image on")
        ->check(options::regularFile())
        ->type_name("FILE.json");
    app.add_option("--seed", options.seed,
                   "Start of everything random about the faults, 0 to 2^53: the same seed and options give the same "
                   "faults (default: another one each time, told on standard error)")
        ->check(options::within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction"))
        ->type_name("NUMBER");
    app.add_option("--fault-log", options.logFile,
                   "Write a JSON line for each fault, with what a host must find because of it")
        ->type_name("FILE");
    app.add_flag("--no-faults", options.off, "Provoke no fault, whatever other options and scenarios ask for");
}

struct Commands {
    CLI::App* ask;
    CLI::App* list;
};

Commands addCommands(CLI::App& app, SimulatorOptions& options, RawOptions& raw) {
    Commands commands{};
    app.require_subcommand(0, 1);
    commands.ask =
        app.add_subcommand("ask", "Ask the camera for image size, pixel size and image format, and show its answers");
    addAskOptions(*commands.ask, options.asking);
    commands.list = app.add_subcommand("patterns", "Show the patterns that can be drawn");
    commands.list->add_flag("--list", raw.listed, "As a table on standard output (default)")->default_str("true");
    commands.list->add_flag("--json", options.listsAsJson, "As one JSON object");
    return commands;
}

void addFooters(CLI::App& app, const Commands& commands) {
    const std::string asking =
        "\n"
        "The camera is asked over its link again each second; when its format changes, so do the images. Only one can\n"
        "ask: ask fails while a simulator runs that was started without --no-ask.\n";
    const std::string exitCodes = "\nExit codes: 0 done, 1 failed, 2 wrong usage, 3 no answer in time (ask).";
    app.footer(
        "Examples:\n"
        "  dorven-simulator --size 1280x1024 --fps 200\n"
        "  dorven-simulator --config camera.ini --count 1000\n"
        "  dorven-simulator --images pictures --fps 25\n"
        "  dorven-simulator --pattern circle --motion sine --truth truth.jsonl\n"
        "  dorven-simulator --fault drop@every:50 --fault delay:20ms@p:0.01 --seed 42 --fault-log faults.jsonl\n"
        "\n"
        "Each image has a number and carries it. One that is late by more than half a ring, or finds the ring full,\n"
        "uses its number up, so that a host sees the gap. Faults: docs/faults.md.\n" +
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

// An option of the program itself that stands beside a subcommand; empty: none does.
std::string optionBesideSubcommand(const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->count() > 0) return option->get_name();
    }
    return "";
}

// An option of a run that was given beside another command; empty: none was.
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

int refuse(const std::string& problem, std::ostream& people) {
    people << problem << "\nRun with --help for more information.\n";
    return kWrongUsage;
}

}  // namespace

std::optional<int> parseSimulatorOptions(int argc, const char* const* argv, SimulatorOptions& options,
                                         std::ostream& data, std::ostream& people) {
    return parseSimulatorOptions(argc, argv, options, data, people, platform_surroundings());
}

std::optional<int> parseSimulatorOptions(int argc, const char* const* argv, SimulatorOptions& options,
                                         std::ostream& data, std::ostream& people, const Surroundings& surroundings) {
    CLI::App app(
        "Plays the camera's other side: writes images into shared memory, from where the camera plugin of a measuring "
        "host takes them.",
        "dorven-simulator");
    app.set_version_flag("--version", std::string("dorven-simulator ") + DORVEN_VERSION);
    RawOptions raw;
    app.option_defaults()->group("Images");
    addImageOptions(app, options, raw);
    app.option_defaults()->group("Pacing");
    addPacingOptions(app, options.pacing);
    addRingOptions(app, options.delivery);
    app.option_defaults()->group("Patterns");
    PatternCommandLine pattern(app, options.pattern);
    app.option_defaults()->group("Own pictures, in place of a pattern");
    PictureCommandLine pictures(app, options.pictures);
    app.option_defaults()->group("Faults");
    addFaultOption(app, options.faults);
    addScriptOptions(app, options.faults);
    app.option_defaults()->group("Options");
    const Commands commands = addCommands(app, options, raw);
    addFooters(app, commands);
    if (const auto exitCode = options::parse(app, argc, argv, data, people, surroundings)) return exitCode;
    const std::string stray = takeCommand(app, commands, options);
    if (!stray.empty()) return refuse(stray + " does not go with " + app.get_subcommands().front()->get_name(), people);
    std::string problem = pattern.take();
    if (problem.empty()) problem = pictures.take(pattern.firstGiven());
    if (!problem.empty()) return refuse(problem, people);
    options.ask = !raw.noAsk;
    options.delivery.strip = !raw.noStrip;
    options.pattern.settings.strip = options.pictures.strip = stripWishOf(raw);
    if (!raw.size.empty()) frames::parseSize(raw.size, options.size.emplace());
    return std::nullopt;
}

}  // namespace simulator
