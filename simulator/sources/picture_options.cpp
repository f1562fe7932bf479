#include "picture_options.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "image_size.h"
#include "option_checks.h"
#include "picture_files.h"
#include "utf8_path.h"

namespace simulator {
namespace {

constexpr std::size_t kMaxMemoryMb = 1'000'000;
constexpr char kStandardInput[] = "-";

struct PlayRow {
    const char* name;
    Play play;
};
// clang-format off
constexpr PlayRow kPlays[] = {
    {"loop",      Play::loop    },
    {"ping-pong", Play::pingPong},
    {"hold",      Play::hold    },
};
// clang-format on

// A glob is looked for when the pictures are loaded.
std::string checkPath(const std::string& path) {
    std::error_code failure;
    if (path == kStandardInput || isGlob(path) || std::filesystem::exists(pathOfText(path), failure)) return {};
    return "'" + path + "' does not exist";
}

std::string checkRawSize(const std::string& text) {
    frames::ImageFormat size;
    if (frames::parseRawSize(text, size)) return {};
    return "'" + text + "' is no size such as 1280x1024 or 1280x1024x2, each side from 1 to 65536, 1 to 16 bytes";
}

}  // namespace

std::size_t pictureOfFrame(Play play, std::uint64_t frameNumber, std::size_t count) {
    if (play == Play::hold) return static_cast<std::size_t>(std::min<std::uint64_t>(frameNumber, count - 1));
    if (play == Play::loop || count == 1) return static_cast<std::size_t>(frameNumber % count);
    const std::size_t round = 2 * (count - 1);
    const auto phase = static_cast<std::size_t>(frameNumber % round);
    return phase < count ? phase : round - phase;
}

PictureCommandLine::PictureCommandLine(CLI::App& app, PictureOptions& options) : _app(app), _options(options) {
    app.add_option("--images", options.images,
                   "Replay pictures instead of drawing a pattern; may be given again: folders, files, or names with * "
                   "and ?, each in the order of names. PNG, PGM, JPEG, BMP and TIFF, and raw files with --raw-size. "
                   "All are loaded before the first image. With --format, - shows a stream on standard input as it "
                   "comes")
        ->check(CLI::Validator(checkPath, "", "path"))
        ->type_name("PATH");
    app.add_option("--raw-size", _rawSize,
                   "Size of raw pictures, each side 1 to 65536, and their bytes per pixel, 1 to 16 (default: 1); every "
                   "file without an ending of the other formats then holds the pixels of one or several images and "
                   "nothing else")
        ->check(CLI::Validator(checkRawSize, "", "raw-size"))
        ->type_name("WIDTHxHEIGHT[xBYTES]");
    app.add_option("--format", _format, "Format of the stream on standard input, with --images -: y4m")
        ->check(options::oneOf({"y4m"}))
        ->type_name("y4m");
    app.add_option("--play", _play,
                   "Order of the pictures: again from the first, back and forth, or stay at the last one (default: "
                   "loop)")
        ->check(options::oneOf({"loop", "ping-pong", "hold"}))
        ->type_name("loop|ping-pong|hold")
        ->default_str("loop");
    addFitting();
}

void PictureCommandLine::addFitting() {
    _app.add_flag("--scale", _options.scale,
                  "Scale pictures of other sizes: a side that shrinks takes means of areas, one that grows is "
                  "interpolated");
    _app.add_option("--window-motion", _windowMotion,
                    "Pictures larger than the image: drift moves the image over them as a window, none refuses them "
                    "(default: drift)")
        ->check(options::oneOf({"drift", "none"}))
        ->type_name("drift|none")
        ->default_str("drift");
    _app.add_option("--image-memory", _options.memoryMb,
                    "Memory that loading the pictures may take, 1 to 1000000 MB (default: 2048)")
        ->check(options::within(std::size_t{1}, kMaxMemoryMb, "1 to 1000000, without a fraction"))
        ->type_name("MB");
}

std::string PictureCommandLine::take(const std::string& patternOption) {
    const bool wanted = !_options.images.empty();
    if (wanted && !patternOption.empty()) return patternOption + " does not go with --images";
    for (const char* name : {"--raw-size", "--play", "--scale", "--window-motion", "--image-memory"}) {
        if (!wanted && _app.count(name) > 0) return std::string(name) + " goes with --images only";
    }
    if (std::string reason = whyNotPiped(); !reason.empty()) return reason;
    _options.piped = wanted && _options.images.front() == kStandardInput;
    if (!_rawSize.empty()) frames::parseRawSize(_rawSize, _options.rawSize.emplace());
    for (const PlayRow& row : kPlays) {
        if (_play == row.name) _options.play = row.play;
    }
    _options.windowMoves = _windowMotion != "none";
    return {};
}

// What else was given with a stream, or without one.
std::string PictureCommandLine::whyNotPiped() const {
    const auto& images = _options.images;
    const bool piped = std::ranges::find(images, kStandardInput) != images.end();
    if (!piped) return _format.empty() ? "" : "--format goes with --images - only";
    if (images.size() > 1) return "--images - does not go with other pictures";
    if (_format.empty()) return "--images - needs --format y4m";
    for (const char* name : {"--raw-size", "--play", "--scale", "--window-motion"})
        if (_app.count(name) > 0) return std::string(name) + " does not go with --images -";
    return {};
}

}  // namespace simulator
