// The command "bench": what this machine achieves with the real programs, compared with its bare limits.
//
// dorven-simulator runs as a child and feeds the plugin in this process, whose callback only notes times. The same run
// measures the bare limits: this machine's timer, an event between two processes, and memcpy. If the system supports
// separate sets of object names (Linux), the run uses its own and meets nobody. Otherwise it needs the names for itself
// and refuses to run while a simulator or a camera uses them.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <vector>

#include "host_options.h"

namespace host {

/// One run at one rate.
struct BenchRun {
    double framesPerSecond = 0;  // requested
    std::uint64_t images = 0;    // arrived during the measurement
    std::uint64_t lost = 0;      // counters missing between them
    double fps = 0;              // images per second that arrived
    double mbPerS = 0;           // 10^6 bytes of pixels per second
    // How late time stamps are on the earliest grid that fits, and arrivals after their time stamp; none without
    // images.
    std::optional<double> latenessP50Us, latenessP99Us, latencyP50Us, latencyP99Us;
    double simulatorCpuPercent = 0;  // of one core
    double hostCpuPercent = 0;
    // The bare timer at that rate.
    std::optional<double> timerLatenessP50Us, timerLatenessP99Us;
};

struct BenchResults {
    std::vector<BenchRun> paced;                   // in the order of BenchOptions::rates
    BenchRun fastest;                              // as fast as the simulator draws; no timer
    std::optional<double> eventP50Us, eventP99Us;  // one way: half a round trip
    double memcpyMbPerS = 0;
};

/// How late each time is on a grid of that period, placed so that no time is early, in microseconds.
/// @param timesNs  Times of some grid points.   @param slots  Their numbers, beginning anywhere; as many as times.
std::vector<double> latenessOf(const std::vector<std::int64_t>& timesNs, const std::vector<std::uint64_t>& slots,
                               double periodNs);

/// The verdict, then a line for each number: measured, bare limit, ratio. At most 79 columns wide.
/// @param micro  How microseconds are written.
void printBenchTable(const BenchOptions& options, const BenchResults& results, const char* micro, std::ostream& stream);

/// One object: schema, width_px, height_px, bytes_per_pixel, seconds, event_p50_us, event_p99_us, memcpy_mb_per_s,
/// throughput_fps, throughput_mb_per_s, throughput_ratio, and runs, an array of objects with fps, images, lost,
/// fps_mean, lateness_p50_us, lateness_p99_us, timer_lateness_p50_us, timer_lateness_p99_us, lateness_p99_ratio,
/// latency_p50_us, latency_p99_us, latency_p50_ratio, simulator_cpu_percent, host_cpu_percent, memcpy_cpu_percent.
/// Numbers that were not measured are null.
void printBenchJson(const BenchOptions& options, const BenchResults& results, std::ostream& stream);

/// Measures and prints.
///
/// @param data    Receives table or JSON.   @param people  Receives everything else.
/// @return        Exit code: failed when a program or the plugin is missing, or the names are taken; no image in time.
int runBench(const BenchOptions& options, std::ostream& data, std::ostream& people);

/// The other process of the bare event: answers each set of one event by setting the other, until none has come for
/// some seconds. @return Exit code.
int runBenchPartner(const BenchPartnerOptions& options);

}  // namespace host
