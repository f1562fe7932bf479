// Pace of faked images, compared with a bare loop of waits with the same period in whole milliseconds, in turns within
// one run. The waits for a simulator before them end at once.
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "TeskImages.h"
#include "bare_ring.h"
#include "bench_support.h"
#include "mprocessevent.h"

namespace {

constexpr int kTurns = 15;
constexpr double kTurnSeconds = 0.3;
constexpr double kRates[] = {30.0, 60.0, 100.0, 200.0, 500.0};

/// A private event that nobody signals; a wait for a simulator ends at once.
class NoSimulator : public MProcessEvent {
public:
    NoSimulator() : MProcessEvent(nullptr) {}
    int Wait(double seconds) override { return seconds > 1.5 ? -1 : MProcessEvent::Wait(seconds); }
};

int frames(double rate) { return static_cast<int>(rate * kTurnSeconds); }
int periodMs(double rate) { return static_cast<int>(1000.0 / rate); }

struct Arrivals {
    std::vector<long long> times;
    std::size_t wanted = 0;
    NoSimulator done;
};

std::vector<long long> fakedTimes(double rate) {
    Arrivals arrivals;
    arrivals.wanted = static_cast<std::size_t>(frames(rate)) + 1;
    arrivals.times.reserve(arrivals.wanted + 100);
    auto source = std::make_shared<kest::dorven::TeskImages>(std::make_shared<NoSimulator>());
    source->setFrameRate(rate);
    source->setCallback(&arrivals, [](void* context, NUV::IMAGEMEMORY*) {
        auto& noted = *static_cast<Arrivals*>(context);
        if (noted.times.size() < noted.wanted) noted.times.push_back(bench::now());
        if (noted.times.size() == noted.wanted) noted.done.Set();
        return 0;
    });
    source->grab();
    arrivals.done.MProcessEvent::Wait(20.0);
    source->freeze();
    if (arrivals.times.size() == arrivals.wanted) return arrivals.times;
    std::fprintf(stderr, "bench: faked images are missing\n");
    std::exit(1);
}

std::vector<long long> bareTimes(double rate) {
    std::atomic<std::uint32_t> word{0};
    std::atomic<std::uint32_t> waiters{0};
    std::vector<long long> times;
    times.reserve(static_cast<std::size_t>(frames(rate)) + 1);
    for (int i = 0; i <= frames(rate); ++i) {
        times.push_back(bench::now());
        bench::futexWait(word, waiters, periodMs(rate));
    }
    return times;
}

struct Pace {
    std::vector<double> rates;     // 1/s, of turns
    std::vector<double> jitterUs;  // distance of a gap from the period

    void add(const std::vector<long long>& times, double rate) {
        rates.push_back(static_cast<double>(times.size() - 1) * 1e9 /
                        static_cast<double>(times.back() - times.front()));
        for (std::size_t i = 1; i < times.size(); ++i)
            jitterUs.push_back(std::abs(static_cast<double>(times[i] - times[i - 1]) * 1e-3 - periodMs(rate) * 1e3));
    }
};

void compare(double rate, std::vector<bench::Result>& results) {
    Pace ours;
    Pace limit;
    for (int i = 0; i < kTurns; ++i) {
        ours.add(fakedTimes(rate), rate);
        limit.add(bareTimes(rate), rate);
    }
    const std::string name = std::to_string(static_cast<int>(rate)) + " fps, " + std::to_string(periodMs(rate)) + " ms";
    results.push_back({name + ": mean rate", "1/s", bench::median(ours.rates), bench::median(limit.rates), 0.98,
                       bench::Aim::atLeast});
    results.push_back({name + ": jitter p50", "us", bench::median(ours.jitterUs), bench::median(limit.jitterUs), 1.25,
                       bench::Aim::atMost});
}

}  // namespace

int main() {
    setenv("PLATFORM_OBJECT_NAMESPACE", "bench", 0);
    std::vector<bench::Result> results;
    for (const double rate : kRates) compare(rate, results);
    return bench::report("Faked images beside a bare loop of waits, same whole milliseconds", results) ? 0 : 1;
}
