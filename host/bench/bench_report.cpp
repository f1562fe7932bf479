#include <string>

#include <nlohmann/json.hpp>

#include "bench.h"
#include "platform.h"

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

std::string text(const std::optional<double>& value, const char* format) {
    char buffer[40] = "-";
    if (value) platform_format(buffer, sizeof buffer, format, *value);
    return buffer;
}

void printRow(const std::string& name, const char* unit, const std::optional<double>& measured, const char* limitName,
              const std::optional<double>& limit, std::ostream& stream) {
    char line[160];
    platform_format(line, sizeof line, "%-34s %10s %-5s %-22s %10s %-5s %8s\n", name.c_str(),
                    text(measured, "%.1f").c_str(), unit, limitName, text(limit, "%.1f").c_str(), unit,
                    text(ratio(measured, limit), "%.2f").c_str());
    stream << line;
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

void printBenchTable(const BenchOptions& options, const BenchResults& results, std::ostream& stream) {
    stream << options.format.width << " x " << options.format.height << " pixels, " << options.format.bytesPerPixel
           << (options.format.bytesPerPixel == 1 ? " byte" : " bytes") << " per pixel; " << options.seconds
           << " s each\n\n";
    char head[160];
    platform_format(head, sizeof head, "%-34s %16s %-22s %16s %8s\n", "", "measured     ", "beside", "limit     ",
                    "ratio");
    stream << head;
    for (const BenchRun& run : results.paced) {
        const std::string at = "at " + text(run.framesPerSecond, "%g") + "/s: ";
        printRow(at + "rate", "/s", run.fps, "asked for", run.framesPerSecond, stream);
        printRow(at + "lateness p50", "us", run.latenessP50Us, "bare timer", run.timerLatenessP50Us, stream);
        printRow(at + "lateness p99", "us", run.latenessP99Us, "bare timer", run.timerLatenessP99Us, stream);
        printRow(at + "latency p50", "us", run.latencyP50Us, "bare event, one way", results.eventP50Us, stream);
        printRow(at + "latency p99", "us", run.latencyP99Us, "bare event, one way", results.eventP99Us, stream);
        const double copy = memcpyPercent(options, results, run);
        printRow(at + "simulator's CPU", "%", run.simulatorCpuPercent, "memcpy of each image", copy, stream);
        printRow(at + "host's CPU", "%", run.hostCpuPercent, "memcpy of each image", copy, stream);
        if (run.lost > 0) stream << at << run.lost << " images were lost or left out\n";
    }
    printRow("throughput", "MB/s", results.fastest.mbPerS, "memcpy", results.memcpyMbPerS, stream);
    stream << "throughput in images: " << text(results.fastest.fps, "%.1f") << "/s\n" << std::flush;
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
