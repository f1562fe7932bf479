#include "pace_record.h"

#include <algorithm>

#include "bench_support.h"
#include "percentile.h"

namespace bench {
namespace {

constexpr std::int64_t kSettleNs = 500'000'000;  // first images draw everything, into memory that is not there yet

std::int64_t nanoseconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

PaceRecord::PaceRecord(double framesPerSecond, double seconds, clockid_t cpuClock)
    : _periodNs(1e9 / framesPerSecond), _stretchNs(static_cast<std::int64_t>(seconds * 1e9)), _cpuClock(cpuClock) {
    _images.reserve(static_cast<std::size_t>(framesPerSecond * seconds * 1.1) + 10);
}

bool PaceRecord::note(std::uint64_t frame, std::int64_t timeNs) {
    if (_beginNs == 0) _beginNs = timeNs + kSettleNs;
    if (timeNs < _beginNs) return true;
    if (_images.empty()) _cpuAtFirstNs = nanoseconds(_cpuClock);
    _images.push_back({frame, timeNs});
    if (timeNs < _beginNs + _stretchNs) return true;
    _cpuAtLastNs = nanoseconds(_cpuClock);
    return false;
}

Pace PaceRecord::pace() const {
    if (_images.size() < 2) return {};
    const Image& first = _images.front();
    const Image& last = _images.back();
    std::vector<double> lateUs;
    for (const Image& image : _images) {
        const double dueNs = static_cast<double>(image.frame - first.frame) * _periodNs;
        lateUs.push_back((static_cast<double>(image.timeNs - first.timeNs) - dueNs) * 1e-3);
    }
    const double least = *std::min_element(lateUs.begin(), lateUs.end());
    for (double& late : lateUs) late -= least;
    const auto passedNs = static_cast<double>(last.timeNs - first.timeNs);
    const auto intervals = static_cast<double>(_images.size() - 1);
    return {median(lateUs),
            frames::percentile(lateUs, 0.99).value_or(0.0),
            *std::max_element(lateUs.begin(), lateUs.end()),
            intervals * 1e9 / passedNs,
            static_cast<double>(last.frame - first.frame) - intervals,
            100.0 * static_cast<double>(_cpuAtLastNs - _cpuAtFirstNs) / passedNs};
}

}  // namespace bench
