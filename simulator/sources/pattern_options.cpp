#include "pattern_options.h"

#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <vector>

#include "closest_name.h"
#include "option_checks.h"

namespace simulator {
namespace {

using Kind = frames::Motion::Kind;

struct MotionRow {
    const char* name;
    Kind kind;
    double pixels;  // default
};
// clang-format off
constexpr MotionRow kMotions[] = {
    {"none",   Kind::none,   0.0 },
    {"linear", Kind::linear, 0.25},
    {"sine",   Kind::sine,   8.0 },
    {"step",   Kind::step,   0.5 },
};
// clang-format on

constexpr double kMaxMotion = 10'000;
constexpr std::uint64_t kMaxPeriod = 1'000'000;
constexpr const char* kOptions[] = {"--pattern",   "--pattern-seed",  "--digits", "--motion",
                                    "--motion-px", "--motion-period", "--truth"};

std::string checkPattern(const std::string& name) {
    if (frames::findPattern(name)) return {};
    std::vector<std::string_view> names;
    for (const frames::PatternRow& row : frames::patterns()) names.insert(names.end(), {row.name, row.standardName});
    return options::noSuchName("pattern", name, names, "dorven-simulator patterns --list shows all");
}

std::vector<std::string> shortNames() {
    std::vector<std::string> names;
    for (const frames::PatternRow& row : frames::patterns()) names.emplace_back(row.name);
    return names;
}

const MotionRow* findMotion(const std::string& name) {
    for (const MotionRow& row : kMotions) {
        if (name == row.name) return &row;
    }
    return nullptr;
}

std::vector<std::string> motionNames() {
    std::vector<std::string> names;
    for (const MotionRow& row : kMotions) names.emplace_back(row.name);
    return names;
}

// The library would accept a negative number, and truncate one that is too large.
std::string checkSeed(const std::string& text) {
    std::uint64_t seed = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), seed);
    if (failure == std::errc() && end == text.data() + text.size()) return {};
    return "'" + text + "' is not a whole number from 0 to 2^64 - 1";
}

std::string measuringTargets() {
    std::string names;
    for (const frames::PatternRow& row : frames::patterns()) {
        if (row.kind == frames::PatternKind::measuring) names.append(names.empty() ? "" : ", ").append(row.name);
    }
    return names;
}

}  // namespace

PatternCommandLine::PatternCommandLine(CLI::App& app, PatternOptions& options) : _app(app), _options(options) {
    app.add_option(
           "--pattern", _pattern,
           "What to draw, by its standard or short name; 'dorven-simulator patterns' shows all (default: target)")
        ->check(options::offering(shortNames(), checkPattern))
        ->type_name("NAME")
        ->default_str("target");
    app.add_option("--bits", options.settings.bits,
                   "Significant bits of 2-byte pixels: greys from 0 to 2^bits - 1 (default: 16)")
        ->check(options::oneOf({"10", "12", "16"}))
        ->type_name("10|12|16");
    app.add_option("--pattern-seed", options.settings.seed,
                   "Seed of the noise, 0 to 2^64 - 1; the same seed gives the same images (default: 1)")
        ->check(CLI::Validator(checkSeed, "", "seed"))
        ->type_name("SEED");
    app.add_flag("--digits,!--no-digits", _digits,
                 "Show the frame number in the upper left corner (default: on, except for measuring targets)")
        ->default_str("true");
    addMotion();
}

void PatternCommandLine::addMotion() {
    _app.add_option("--motion", _motion, "Horizontal motion of a measuring target (default: none)")
        ->check(options::oneOf(motionNames()))
        ->type_name("none|linear|sine|step")
        ->default_str("none");
    _app.add_option("--motion-px", _motionPixels,
                    "Distance of the motion in pixels, -10000 to 10000: linear moves so far in each frame (default: "
                    "0.25), sine to each side (default: 8), step in one step (default: 0.5)")
        ->check(options::within(-kMaxMotion, kMaxMotion, "-10000 to 10000"))
        ->type_name("PIXELS");
    _app.add_option("--motion-period", _motionPeriod,
                    "Frames after which the motion starts again, 2 to 1000000 (default: 100); step steps after half of "
                    "them")
        ->check(options::within(std::uint64_t{2}, kMaxPeriod, "2 to 1000000, without a fraction"))
        ->type_name("FRAMES")
        ->default_str("100");
    _app.add_option("--truth", _options.truthFile,
                    "Write the true position of the measuring target in each frame, one JSON object a line")
        ->type_name("FILE.jsonl");
}

std::string PatternCommandLine::take() {
    if (!_pattern.empty()) _options.pattern = frames::findPattern(_pattern);
    if (_app.count("--digits") > 0) _options.settings.digits = _digits;
    const bool measures = _options.pattern->kind == frames::PatternKind::measuring;
    for (const char* name : {"--motion", "--motion-px", "--motion-period", "--truth"}) {
        if (!measures && _app.count(name) > 0)
            return std::string(name) + " goes with a measuring target only: --pattern " + measuringTargets();
    }
    const MotionRow& row = _motion.empty() ? kMotions[0] : *findMotion(_motion);
    for (const char* name : {"--motion-px", "--motion-period"}) {
        if (row.kind == Kind::none && _app.count(name) > 0)
            return std::string(name) + " goes with --motion linear, sine or step";
    }
    _options.settings.motion = {row.kind, _motionPixels.value_or(row.pixels), _motionPeriod.value_or(100)};
    return {};
}

std::string PatternCommandLine::firstGiven() const {
    for (const char* name : kOptions) {
        if (_app.count(name) > 0) return name;
    }
    return {};
}

}  // namespace simulator
