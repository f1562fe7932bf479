#include "grab_statistics.h"

#include <algorithm>
#include <cmath>

namespace host {
namespace {

constexpr std::size_t kMaxSamples = 1'000'000;  // per percentile, so that a grab of days stays in memory
constexpr std::size_t kMaxTornFrames = 100;

double microseconds(std::int64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1000.0; }

// Keeps the latest samples; count is that of the samples before this one.
void keep(std::vector<double>& samples, std::uint64_t count, double sample) {
    if (samples.size() < kMaxSamples) {
        samples.push_back(sample);
    } else {
        samples[count % kMaxSamples] = sample;
    }
}

}  // namespace

std::optional<double> percentile(std::vector<double>& values, double share) {
    if (values.empty()) return std::nullopt;
    const double rank = std::ceil(share * static_cast<double>(values.size()));
    const auto index = static_cast<std::ptrdiff_t>(std::clamp(rank, 1.0, static_cast<double>(values.size()))) - 1;
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values[static_cast<std::size_t>(index)];
}

void GrabStatistics::add(const frames::Inspection& inspection, std::size_t bytes, std::int64_t arrivalNs) {
    if (_counts.images == 0) {
        _firstArrivalNs = arrivalNs;
    } else {
        const double periodUs = microseconds(arrivalNs - _lastArrivalNs);
        keep(_periodsUs, _counts.images - 1, periodUs);
        _periodMaxUs = std::max(_periodMaxUs, periodUs);
        _bytesAfterFirst += bytes;
    }
    _lastArrivalNs = arrivalNs;
    ++_counts.images;
    switch (inspection.kind) {
        case frames::ImageKind::simulated:
            ++_counts.simulated;
            break;
        case frames::ImageKind::torn:
            ++_counts.torn;
            if (inspection.strip && _tornFrames.size() < kMaxTornFrames)
                _tornFrames.push_back(inspection.strip->frameNumber);
            break;
        case frames::ImageKind::faked:
            ++_counts.faked;
            break;
        case frames::ImageKind::unverified:
            ++_counts.unverified;
            break;
    }
    if (inspection.strip) addStrip(*inspection.strip, arrivalNs);
}

void GrabStatistics::addStrip(const frames::Strip& strip, std::int64_t arrivalNs) {
    const auto timeStampNs = static_cast<std::int64_t>(strip.timeStampNs);
    if (timeStampNs < _startNs) return;
    _sequence.add(strip.frameNumber, strip.timeStampNs);
    keep(_latenciesUs, _latencyCount++, microseconds(arrivalNs - timeStampNs));
}

GrabResults GrabStatistics::results() const {
    GrabResults results = counts();
    std::vector<double> samples = _periodsUs;
    results.periodP50Us = percentile(samples, 0.50);
    results.periodP99Us = percentile(samples, 0.99);
    if (!samples.empty()) results.periodMaxUs = _periodMaxUs;
    samples = _latenciesUs;
    results.latencyP50Us = percentile(samples, 0.50);
    results.latencyP99Us = percentile(samples, 0.99);
    return results;
}

GrabResults GrabStatistics::counts() const {
    GrabResults results = _counts;
    results.lost = _sequence.lost();
    results.repeated = _sequence.repeated();
    results.reordered = _sequence.reordered();
    const double seconds = static_cast<double>(_lastArrivalNs - _firstArrivalNs) / 1e9;
    if (_counts.images > 1 && seconds > 0) {
        results.fpsMean = static_cast<double>(_counts.images - 1) / seconds;
        results.mbPerS = static_cast<double>(_bytesAfterFirst) / 1e6 / seconds;
    }
    return results;
}

}  // namespace host
