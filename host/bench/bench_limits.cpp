#include "bench_limits.h"

#include <algorithm>
#include <cstring>

#include "child_program.h"
#include "platform.h"

namespace host {
namespace {

constexpr DWORD kPartnerWaitMs = 5000;
constexpr std::size_t kCopiedBytes = std::size_t{1} << 26;  // more than fits into caches

std::int64_t endAfter(double seconds) {
    return platform_monotonicNanoseconds() + static_cast<std::int64_t>(seconds * 1e9);
}

class Event {
public:
    explicit Event(const std::string& name) : _handle(CreateEventA(nullptr, FALSE, FALSE, name.c_str())) {}
    ~Event() {
        if (_handle) CloseHandle(_handle);
    }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    bool set() const { return _handle && SetEvent(_handle); }
    bool wait() const { return _handle && WaitForMultipleObjects(1, &_handle, FALSE, kPartnerWaitMs) == WAIT_OBJECT_0; }

private:
    HANDLE _handle;
};

}  // namespace

std::vector<double> timerLateness(double framesPerSecond, double seconds) {
    const double periodNs = 1e9 / framesPerSecond;
    const auto count = static_cast<std::uint64_t>(std::max(seconds * framesPerSecond, 1.0));
    const std::int64_t startNs = platform_monotonicNanoseconds();
    std::vector<double> lateness;
    for (std::uint64_t slot = 1; slot <= count; ++slot) {
        const std::int64_t dueNs = startNs + static_cast<std::int64_t>(static_cast<double>(slot) * periodNs);
        if (platform_monotonicNanoseconds() > dueNs) continue;  // as a simulator skips a slot
        if (!platform_sleepUntil(dueNs)) break;
        lateness.push_back(static_cast<double>(platform_monotonicNanoseconds() - dueNs) / 1e3);
    }
    return lateness;
}

std::vector<double> eventOneWay(const std::string& program, double seconds, std::string& error) {
    const std::string name = "DorVenBench" + std::to_string(GetCurrentProcessId());
    const Event ping(name + "Ping");
    const Event pong(name + "Pong");
    ChildProgram partner;
    if (!partner.start(program, {"bench-partner", name}, error)) return {};
    std::vector<double> oneWay;
    for (std::int64_t endNs = 0; endNs == 0 || platform_monotonicNanoseconds() < endNs;) {
        const std::int64_t setNs = platform_monotonicNanoseconds();
        if (!ping.set() || !pong.wait() || platform_stopRequested()) break;
        const double us = static_cast<double>(platform_monotonicNanoseconds() - setNs) / 2e3;
        if (endNs == 0) {
            endNs = endAfter(seconds);  // the first one waited for the partner's start
        } else {
            oneWay.push_back(us);
        }
    }
    if (oneWay.empty()) error = program + ": did not answer as a partner";
    return oneWay;
}

int runBenchPartner(const BenchPartnerOptions& options) {
    const Event ping(options.events + "Ping");
    const Event pong(options.events + "Pong");
    while (ping.wait()) pong.set();
    return kExitDone;
}

double memcpyMbPerS(std::size_t imageBytes, double seconds) {
    imageBytes = std::min(imageBytes, kCopiedBytes);  // larger ones are copied no faster
    const std::size_t images = std::max<std::size_t>(kCopiedBytes / std::max<std::size_t>(imageBytes, 1), 2);
    std::vector<std::uint8_t> from(images * imageBytes, 1);
    std::vector<std::uint8_t> to(images * imageBytes, 2);
    const std::int64_t startNs = platform_monotonicNanoseconds();
    const std::int64_t endNs = endAfter(seconds);
    std::uint64_t copied = 0;
    std::int64_t nowNs = startNs;
    for (std::size_t image = 0; nowNs < endNs; image = (image + 1) % images) {
        from[image * imageBytes] = static_cast<std::uint8_t>(copied);  // so that no copy is left out
        std::memcpy(to.data() + image * imageBytes, from.data() + image * imageBytes, imageBytes);
        copied += imageBytes;
        nowNs = platform_monotonicNanoseconds();
    }
    return static_cast<double>(copied) / 1e6 / (static_cast<double>(nowNs - startNs) / 1e9);
}

}  // namespace host
