#include "bench.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>

#include "bench_limits.h"
#include "camera_claim.h"
#include "camera_session.h"
#include "child_program.h"
#include "machine_memory.h"
#include "named_claim.h"
#include "object_names.h"
#include "output_file.h"
#include "percentile.h"
#include "platform.h"
#include "plugin_library.h"
#include "process_cpu.h"
#include "readable_number.h"

namespace host {
namespace {

constexpr std::int64_t kFirstImageNs = 15'000'000'000;  // the camera looks for a simulator every 2 s
constexpr double kFastestRate = 10000.0;
constexpr std::size_t kRingLines = 16;

std::string besideThisProgram(const std::string& program) {
    const std::string plugin = defaultPluginPath();
    return plugin.substr(0, plugin.find_last_of("\\/") + 1) + program + DORVEN_PROGRAM_SUFFIX;
}

// Notes the times of images in memory that was reserved before.
class Clock {
public:
    explicit Clock(std::size_t capacity) { _samples.reserve(capacity); }

    static int onImage(void* self, NUV::IMAGEMEMORY* record) {
        const std::int64_t arrivalNs = platform_monotonicNanoseconds();
        auto& clock = *static_cast<Clock*>(self);
        const std::lock_guard lock(clock._mutex);
        ++clock._images;
        if (clock._measuring && clock._samples.size() < clock._samples.capacity())
            clock._samples.push_back({record->imageCounter, static_cast<std::int64_t>(record->timeStamp), arrivalNs});
        return 0;
    }

    struct Sample {
        std::uint32_t counter;
        std::int64_t timeStampUs;
        std::int64_t arrivalNs;
    };
    std::uint64_t images() const {
        const std::lock_guard lock(_mutex);
        return _images;
    }
    void measure(bool on) {
        const std::lock_guard lock(_mutex);
        _measuring = on;
    }
    std::vector<Sample> samples() const {
        const std::lock_guard lock(_mutex);
        return _samples;
    }

private:
    mutable std::mutex _mutex;
    std::uint64_t _images = 0;
    bool _measuring = false;
    std::vector<Sample> _samples;
};

// A temporary configuration file.
class ConfigFile {
public:
    explicit ConfigFile(const BenchOptions& options)
        : _path((std::filesystem::temp_directory_path() /
                 ("dorven-bench-" + std::to_string(std::random_device()()) + ".ini"))
                    .string()) {
        const std::string text = "[image]\nimage_size_x=" + std::to_string(options.format.width) +
                                 "\nimage_size_y=" + std::to_string(options.format.height) +
                                 "\nbytes_per_pixel=" + std::to_string(options.format.bytesPerPixel) + "\n";
        std::string error;
        if (!writeWholeFile(_path, text.data(), text.size(), ExistingFile::refuse, error))
            throw std::runtime_error(error);
    }
    ~ConfigFile() { _unlink(_path.c_str()); }
    ConfigFile(const ConfigFile&) = delete;
    ConfigFile& operator=(const ConfigFile&) = delete;
    const std::string& path() const { return _path; }

private:
    std::string _path;
};

// Separate object names for this run, if the system supports them.
class ObjectNames {
public:
    ObjectNames() : _own(platform_beginOwnObjectNames()) {}
    ~ObjectNames() {
        if (_own) platform_endOwnObjectNames();
    }
    ObjectNames(const ObjectNames&) = delete;
    ObjectNames& operator=(const ObjectNames&) = delete;

private:
    bool _own;
};

// Ends a measurement with an exit code.
struct Failure {
    int exitCode;
    std::string reason;
};

void throwIfStopped() {
    if (platform_stopRequested()) throw Failure{kExitFailed, "stopped before all was measured"};
}

void sleepFor(double seconds) {
    platform_sleepUntil(platform_monotonicNanoseconds() + static_cast<std::int64_t>(seconds * 1e9));
    throwIfStopped();
}

void waitForFirstImage(const Clock& clock, ChildProgram& simulator) {
    const std::int64_t endNs = platform_monotonicNanoseconds() + kFirstImageNs;
    while (clock.images() == 0) {
        if (!simulator.running()) throw Failure{kExitFailed, "the simulator ended at once; try it by itself"};
        if (platform_monotonicNanoseconds() >= endNs) throw Failure{kExitNoImage, "no image came from the simulator"};
        sleepFor(0.01);
    }
}

void addSamples(const std::vector<Clock::Sample>& samples, BenchRun& run) {
    std::vector<std::int64_t> timesNs;
    std::vector<std::uint64_t> slots;
    std::vector<double> latencies;
    for (const Clock::Sample& sample : samples) {
        timesNs.push_back(sample.timeStampUs * 1000);
        // 32 bits that may wrap, so the difference is used.
        slots.push_back(static_cast<std::uint32_t>(sample.counter - samples.front().counter));
        latencies.push_back(static_cast<double>(sample.arrivalNs) / 1e3 - static_cast<double>(sample.timeStampUs));
    }
    run.images = samples.size();
    if (!slots.empty()) run.lost = slots.back() + 1 - std::min(slots.back() + 1, run.images);
    std::vector<double> lateness = latenessOf(timesNs, slots, 1e9 / run.framesPerSecond);
    run.latenessP50Us = frames::percentile(lateness, 0.50);
    run.latenessP99Us = frames::percentile(lateness, 0.99);
    run.latencyP50Us = frames::percentile(latencies, 0.50);
    run.latencyP99Us = frames::percentile(latencies, 0.99);
}

// One simulator at one rate, and the camera that takes its images.
BenchRun measureRun(NUV::PluginDeviceBase& device, const BenchOptions& options, const std::string& config,
                    double rate) {
    const frames::ImageFormat& size = options.format;
    ChildProgram simulator;
    std::string error;
    // If this process is killed, the count ends the simulator.
    const auto count = static_cast<std::uint64_t>(rate * (options.seconds + 60.0)) + 1;
    if (!simulator.start(options.simulatorPath,
                         {"--size", std::to_string(size.width) + "x" + std::to_string(size.height), "--bytes-per-pixel",
                          std::to_string(size.bytesPerPixel), "--fps", std::to_string(rate), "--lines",
                          std::to_string(kRingLines), "--count", std::to_string(count), "--no-ask"},
                         error))
        throw Failure{kExitFailed, error};
    Clock clock(static_cast<std::size_t>(rate * options.seconds * 1.5) + 100);
    CameraSession camera(device);
    if (!camera.open(config, error) || !camera.start({&clock, &Clock::onImage}, error))
        throw Failure{kExitFailed, error};
    waitForFirstImage(clock, simulator);
    sleepFor(0.2);  // what waited in the ring has arrived
    const std::int64_t startNs = platform_monotonicNanoseconds();
    const double simulatorCpu = simulator.cpuSeconds();
    const std::int64_t ownCpuNs = platform_processCpuNanoseconds();
    clock.measure(true);
    sleepFor(options.seconds);
    clock.measure(false);
    const double seconds = static_cast<double>(platform_monotonicNanoseconds() - startNs) / 1e9;
    BenchRun run;
    run.framesPerSecond = rate;
    run.simulatorCpuPercent = (simulator.cpuSeconds() - simulatorCpu) / seconds * 100;
    run.hostCpuPercent = static_cast<double>(platform_processCpuNanoseconds() - ownCpuNs) / 1e9 / seconds * 100;
    if (!simulator.running()) throw Failure{kExitFailed, "the simulator ended while it was measured"};
    addSamples(clock.samples(), run);
    run.fps = static_cast<double>(run.images) / seconds;
    run.mbPerS = run.fps * static_cast<double>(size.bytes()) / 1e6;
    return run;
}

void measureLimits(const BenchOptions& options, BenchResults& results) {
    std::string error;
    std::vector<double> oneWay = eventOneWay(besideThisProgram("dorven-host"), options.seconds / 2, error);
    throwIfStopped();
    if (oneWay.empty()) throw Failure{kExitFailed, error};
    results.eventP50Us = frames::percentile(oneWay, 0.50);
    results.eventP99Us = frames::percentile(oneWay, 0.99);
    results.memcpyMbPerS = memcpyMbPerS(options.format.bytes(), std::min(options.seconds, 1.0));
}

BenchResults measureAll(NUV::PluginDeviceBase& device, const BenchOptions& options, std::ostream& people) {
    const ConfigFile config(options);
    BenchResults results;
    std::ostream silence(nullptr);
    std::ostream& progress = options.quiet ? silence : people;
    progress << "dorven-host: measuring the bare limits" << std::endl;
    measureLimits(options, results);
    for (const double rate : options.rates) {
        progress << "dorven-host: measuring at " << rate << " images/s" << std::endl;
        BenchRun run = measureRun(device, options, config.path(), rate);
        std::vector<double> timer = timerLateness(rate, options.seconds);
        throwIfStopped();
        run.timerLatenessP50Us = frames::percentile(timer, 0.50);
        run.timerLatenessP99Us = frames::percentile(timer, 0.99);
        results.paced.push_back(run);
    }
    progress << "dorven-host: measuring as fast as the simulator draws" << std::endl;
    results.fastest = measureRun(device, options, config.path(), kFastestRate);
    return results;
}

// The ring with its empty slot, what the simulator draws and what the plugin fakes; more than the machine has would end
// some program of it.
void throwIfTooLarge(const frames::ImageFormat& format) {
    constexpr std::size_t kMegabyte = 1'000'000;
    const std::size_t needed = (kRingLines + 3) * format.bytes();
    const std::uint64_t machine = platform_machineMemoryBytes();
    if (machine == 0 || needed <= machine) return;
    throw Failure{kExitFailed, "images of " + std::to_string(format.width) + " x " + std::to_string(format.height) +
                                   " pixels, " + std::to_string(format.bytesPerPixel) + " bytes per pixel, take " +
                                   std::to_string(needed / kMegabyte + 1) + " MB, and this machine has " +
                                   std::to_string(machine / kMegabyte) + " MB: take a smaller --size"};
}

int measureAndPrint(const BenchOptions& options, std::ostream& data, std::ostream& people) {
    throwIfTooLarge(options.format);
    if (_access(options.simulatorPath.c_str(), 0) != 0)
        throw Failure{kExitFailed, options.simulatorPath + ": there is no such program; name it with --simulator"};
    if (NamedClaim::isTaken(image_road::kImagesWriter)) throw Failure{kExitFailed, "a simulator runs: end it first"};
    CameraClaim camera;
    if (!camera.take()) throw Failure{kExitFailed, kCameraIsTaken};
    std::string error;
    const auto library = PluginLibrary::load(options.pluginPath, error);
    if (!library) throw Failure{kExitFailed, error};
    NUV::PluginDeviceBase* const device = library->firstDevice(error);
    if (!device) throw Failure{kExitFailed, error};
    const BenchResults results = measureAll(*device, options, people);
    if (options.json) {
        printBenchJson(options, results, data);
    } else {
        printBenchTable(options, results, microseconds(), data);
    }
    return kExitDone;
}

}  // namespace

std::vector<double> latenessOf(const std::vector<std::int64_t>& timesNs, const std::vector<std::uint64_t>& slots,
                               double periodNs) {
    std::vector<double> lateness;
    for (std::size_t index = 0; index < timesNs.size(); ++index)
        lateness.push_back((static_cast<double>(timesNs[index] - timesNs[0]) -
                            (static_cast<double>(slots[index]) - static_cast<double>(slots[0])) * periodNs) /
                           1e3);
    if (lateness.empty()) return lateness;
    const double earliest = *std::min_element(lateness.begin(), lateness.end());
    for (double& value : lateness) value -= earliest;
    return lateness;
}

int runBench(const BenchOptions& given, std::ostream& data, std::ostream& people) {
    BenchOptions options = given;
    if (options.simulatorPath.empty()) options.simulatorPath = besideThisProgram("dorven-simulator");
    const ObjectNames names;
    try {
        return measureAndPrint(options, data, people);
    } catch (const Failure& failure) {
        people << "dorven-host: " << failure.reason << std::endl;
        return failure.exitCode;
    }
}

}  // namespace host
