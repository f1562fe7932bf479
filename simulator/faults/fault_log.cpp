#include "fault_log.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <nlohmann/json.hpp>

#include "fault_log_words.h"
#include "platform.h"
#include "utf8_path.h"

namespace simulator {

namespace words = frames::fault_log;

namespace {

using Json = nlohmann::ordered_json;

/// A note that could still grow is written after this time all the same, for whoever follows the file.
constexpr std::int64_t kHoldNs = 1'000'000'000;

Json jsonOf(const Expectation& expectation) {
    Json json{{"finding", expectation.finding}, {"first", expectation.first}};
    if (expectation.last) json["last"] = *expectation.last;
    if (expectation.minUs) json["min_us"] = *expectation.minUs;
    return json;
}

}  // namespace

std::vector<FrameRange> rangesOf(const std::vector<std::uint64_t>& frames) {
    std::vector<FrameRange> ranges;
    for (const std::uint64_t frame : frames) {
        if (!ranges.empty() && (frame == ranges.back().last + 1 || frame == ranges.back().last)) {
            ranges.back().last = frame;
        } else {
            ranges.push_back({frame, frame});
        }
    }
    return ranges;
}

std::unique_ptr<FaultLog> FaultLog::open(const std::string& path, std::ostream& people, std::string& error) {
    std::unique_ptr<FaultLog> log(new FaultLog(path, people));
    errno = 0;
    log->_file.open(pathOfText(path), std::ios::binary | std::ios::trunc);
    if (log->_file) return log;
    error = path + ": cannot be written: " + (errno != 0 ? std::strerror(errno) : "unknown reason");
    return nullptr;
}

void FaultLog::run(std::uint64_t seed, std::int64_t periodNs, const frames::ImageFormat& format) {
    const Json line{{"schema", words::kSchema},
                    {"event", words::kRun},
                    {"seed", seed},
                    {"period_ns", periodNs},
                    {"width", format.width},
                    {"height", format.height},
                    {"bytes_per_pixel", format.bytesPerPixel}};
    writeLine(line.dump());
}

void FaultLog::fault(const char* name, std::uint64_t frame, const std::vector<Expectation>& expectations) {
    writeHeldNote();
    Json expect = Json::array();
    for (const Expectation& expectation : expectations) expect.push_back(jsonOf(expectation));
    const Json line{{"event", words::kFault},
                    {"fault", name},
                    {"frame", frame},
                    {"time_ns", platform_monotonicNanoseconds()},
                    {"expect", std::move(expect)}};
    writeLine(line.dump());
}

void FaultLog::note(const char* note, const FrameRange& frames) {
    const std::int64_t nowNs = platform_monotonicNanoseconds();
    const bool follows = _held && std::strcmp(_held->name, note) == 0 && _held->frames.last + 1 == frames.first;
    if (follows && nowNs - _held->timeNs < kHoldNs) {
        _held->frames.last = frames.last;
        return;
    }
    writeHeldNote();
    _held = Note{note, frames, nowNs};
}

void FaultLog::end(std::uint64_t nextFrame, std::uint64_t ringDamaged) {
    writeHeldNote();
    Json line{{"event", words::kEnd}, {"next_frame", nextFrame}};
    if (ringDamaged != 0) line["ring_damaged"] = ringDamaged;
    writeLine(line.dump());
}

void FaultLog::writeHeldNote() {
    const auto held = std::exchange(_held, std::nullopt);
    if (!held) return;
    const Json line{{"event", words::kNote},
                    {"note", held->name},
                    {"first", held->frames.first},
                    {"last", held->frames.last},
                    {"time_ns", held->timeNs}};
    writeLine(line.dump());
}

void FaultLog::writeLine(const std::string& line) {
    if (!_file.is_open()) return;
    _file << line << '\n' << std::flush;
    if (_file) return;
    _file.close();
    _people << "dorven-simulator: " << _path << ": cannot be written any more; going on without the fault log"
            << std::endl;
}

}  // namespace simulator
