#include "truth_log.h"

#include <fstream>
#include <utility>

#include <nlohmann/json.hpp>

#include "strip.h"
#include "utf8_path.h"

namespace simulator {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kSchema = "dorven-truth/1";
const char kConvention[] =
    "x to the right, y down; whole numbers are the centres of pixels, (0, 0) that of the upper left one";

const char* motionName(frames::Motion::Kind kind) {
    switch (kind) {
        case frames::Motion::Kind::none:
            return "none";
        case frames::Motion::Kind::linear:
            return "linear";
        case frames::Motion::Kind::sine:
            return "sine";
        case frames::Motion::Kind::step:
            break;
    }
    return "step";
}

}  // namespace

std::shared_ptr<TruthLog> TruthLog::open(const std::string& path, std::string& error) {
    auto file = std::make_unique<std::ofstream>(pathOfText(path), std::ios::binary | std::ios::trunc);
    if (!*file) {
        error = path + ": cannot be written";
        return nullptr;
    }
    return std::make_shared<TruthLog>(std::move(file), path);
}

TruthLog::TruthLog(std::unique_ptr<std::ostream> stream, std::string path)
    : _stream(std::move(stream)), _path(std::move(path)) {}

void TruthLog::begin(const frames::PatternRow& pattern, const frames::ImageFormat& format,
                     const frames::PatternSettings& how) {
    const frames::PixelWriter writer(format.bytesPerPixel, how.bits);
    const frames::TargetGreys greys = targetGreys(writer);
    Json object;
    object["schema"] = kSchema;
    object["pattern"] = pattern.name;
    object["width_px"] = format.width;
    object["height_px"] = format.height;
    object["bytes_per_pixel"] = format.bytesPerPixel;
    const frames::StripLayout strip = stripLayout(format, how.strip);
    object["strip_lines"] = strip.lines;
    object["strip_first_line"] = strip.firstLine;
    object["dark_grey"] = greys.dark;
    object["bright_grey"] = greys.bright;
    object["white_grey"] = writer.whiteGrey();
    object["motion"] = motionName(how.motion.kind);
    object["motion_px"] = how.motion.pixels;
    object["motion_period_frames"] = how.motion.periodFrames;
    object["convention"] = kConvention;
    *_stream << object.dump() << '\n' << std::flush;
}

// Each line is written at once: whoever follows the file sees it, and a killed simulator leaves whole lines.
void TruthLog::frame(std::uint64_t frameNumber, const std::vector<frames::TrueValue>& truth) {
    Json object;
    object["frame"] = frameNumber;
    for (const auto& [key, value] : truth) object[key] = value;
    *_stream << object.dump() << '\n' << std::flush;
}

}  // namespace simulator
