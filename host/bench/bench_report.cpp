#include <string>

#include <nlohmann/json.hpp>

#include "bench.h"
#include "platform.h"
#include "readable_number.h"

namespace host {
namespace {

constexpr const char* kSchema = "dorven-bench/1";

using Json = nlohmann::ordered_json;

// Share of a core that one memcpy of each image would take.
double memcpyPercent(const BenchOptions& options, const BenchResults& results, const BenchRun& run) {
    return run.fps * static_cast<double>(options.format.bytes()) / 1e6 / results.memcpyMbPerS * 100;
}

std::optional<double> ratio(const std::optional<double>& measured, const std::optional<double>& limit) {
    if (!measured || !limit || *limit <= 0) return std::nullopt;
    return *measured / *limit;
}

Json number(const std::optional<double>& value) { return value ? Json(*value) : Json(nullptr); }

std::string rateText(double rate) {
    char buffer[40];
    platform_format(buffer, sizeof buffer, "%g", rate);
    return buffer;
}

constexpr std::size_t kNameWidth = 18;
constexpr std::size_t kNumberWidth = 12;
constexpr std::size_t kRatioWidth = 9;

struct Row {
    const char* name;
    const char* unit;
    std::optional<double> measured;
    const char* limitName;
    std::optional<double> limit;
};

void printHead(const std::string& name, std::ostream& stream) {
    stream << '\n'
           << leftAligned(name, kNameWidth) << rightAligned("measured", kNumberWidth)
           << rightAligned("limit", kNumberWidth) << "      " << rightAligned("ratio", kRatioWidth) << "  beside\n";
}

void printRow(const Row& row, std::ostream& stream) {
    stream << leftAligned(row.name, kNameWidth) << rightAligned(readable(row.measured, 1), kNumberWidth)
           << rightAligned(readable(row.limit, 1), kNumberWidth) << ' ' << leftAligned(row.unit, 5)
           << rightAligned(readable(ratio(row.measured, row.limit), 2), kRatioWidth) << "  " << row.limitName << '\n';
}

Json jsonOf(const BenchOptions& options, const BenchResults& results, const BenchRun& run) {
    Json object;
    object["fps"] = run.framesPerSecond;
    object["images"] = run.images;
    object["lost"] = run.lost;
    object["fps_mean"] = run.fps;
    object["lateness_p50_us"] = number(run.latenessP50Us);
    object["lateness_p99_us"] = number(run.latenessP99Us);
    object["timer_lateness_p50_us"] = number(run.timerLatenessP50Us);
    object["timer_lateness_p99_us"] = number(run.timerLatenessP99Us);
    object["lateness_p99_ratio"] = number(ratio(run.latenessP99Us, run.timerLatenessP99Us));
    object["latency_p50_us"] = number(run.latencyP50Us);
    object["latency_p99_us"] = number(run.latencyP99Us);
    object["latency_p50_ratio"] = number(ratio(run.latencyP50Us, results.eventP50Us));
    object["simulator_cpu_percent"] = run.simulatorCpuPercent;
    object["host_cpu_percent"] = run.hostCpuPercent;
    object["memcpy_cpu_percent"] = memcpyPercent(options, results, run);
    return object;
}

}  // namespace

void printBenchTable(const BenchOptions& options, const BenchResults& results, const char* micro,
                     std::ostream& stream) {
    const BenchRun& fastest = results.fastest;
    stream << readable(fastest.mbPerS, 0) << " MB/s at " << readable(fastest.fps, 0) << " images/s, "
           << readable(ratio(fastest.mbPerS, results.memcpyMbPerS), 2) << " of what memcpy reaches\n"
           << options.format.width << " x " << options.format.height << " pixels, " << options.format.bytesPerPixel
           << (options.format.bytesPerPixel == 1 ? " byte" : " bytes") << " per pixel; " << options.seconds
           << " s each\n";
    for (const BenchRun& run : results.paced) {
        const double copy = memcpyPercent(options, results, run);
        printHead("at " + rateText(run.framesPerSecond) + "/s", stream);
        for (const Row& row : {
                 Row{"rate", "/s", run.fps, "asked for", run.framesPerSecond},
                 Row{"lateness p50", micro, run.latenessP50Us, "bare timer", run.timerLatenessP50Us},
                 Row{"lateness p99", micro, run.latenessP99Us, "bare timer", run.timerLatenessP99Us},
                 Row{"latency p50", micro, run.latencyP50Us, "bare event, one way", results.eventP50Us},
                 Row{"latency p99", micro, run.latencyP99Us, "bare event, one way", results.eventP99Us},
                 Row{"simulator's CPU", "%", run.simulatorCpuPercent, "memcpy of each image", copy},
                 Row{"host's CPU", "%", run.hostCpuPercent, "memcpy of each image", copy},
             })
            printRow(row, stream);
        if (run.lost > 0) stream << counted(run.lost, "image") << " lost or left out\n";
    }
    printHead("at full speed", stream);
    printRow({"throughput", "MB/s", fastest.mbPerS, "memcpy", results.memcpyMbPerS}, stream);
    stream << std::flush;
}

void printBenchJson(const BenchOptions& options, const BenchResults& results, std::ostream& stream) {
    Json object;
    object["schema"] = kSchema;
    object["width_px"] = options.format.width;
    object["height_px"] = options.format.height;
    object["bytes_per_pixel"] = options.format.bytesPerPixel;
    object["seconds"] = options.seconds;
    object["event_p50_us"] = number(results.eventP50Us);
    object["event_p99_us"] = number(results.eventP99Us);
    object["memcpy_mb_per_s"] = results.memcpyMbPerS;
    object["throughput_fps"] = results.fastest.fps;
    object["throughput_mb_per_s"] = results.fastest.mbPerS;
    object["throughput_ratio"] = number(ratio(results.fastest.mbPerS, results.memcpyMbPerS));
    Json runs = Json::array();
    for (const BenchRun& run : results.paced) runs.push_back(jsonOf(options, results, run));
    object["runs"] = std::move(runs);
    stream << object.dump() << std::endl;
}

}  // namespace host
