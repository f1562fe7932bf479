#include "grab_statistics.h"

#include <utility>

namespace host {
namespace {

void fillTimes(GrabResults& results, const TimeHistogram& periods, const TimeHistogram& latencies) {
    results.periodP50Us = periods.percentileUs(0.50);
    results.periodP99Us = periods.percentileUs(0.99);
    results.periodMaxUs = periods.maxUs();
    results.jitterP99Us = periods.spreadUs(0.99);
    results.latencyP50Us = latencies.percentileUs(0.50);
    results.latencyP99Us = latencies.percentileUs(0.99);
    results.latencyMaxUs = latencies.maxUs();
}

}  // namespace

void IntervalSamples::clear() {
    periods.clear();
    latencies.clear();
    images = bytes = 0;
}

GrabResults IntervalSamples::measures(double seconds) const {
    GrabResults results;
    fillTimes(results, periods, latencies);
    if (seconds > 0) {
        results.fpsMean = static_cast<double>(images) / seconds;
        results.mbPerS = static_cast<double>(bytes) / 1e6 / seconds;
    }
    return results;
}

GrabStatistics::GrabStatistics(const ImageCheckSettings& settings) : _check(settings) {
    if (settings.lateFromNs) _counts.lateFromUs = static_cast<double>(*settings.lateFromNs) / 1000.0;
}

GrabStatistics::Told GrabStatistics::add(const ReceivedImage& image) {
    const ImageCheck::Told checked = _check.add(image);
    Told told{checked.number, std::nullopt, checked.latencyNs, checked.fromBefore};
    if (told.fromBefore) return told;
    if (_counts.images == 0) {
        _firstArrivalNs = image.arrivalNs;
    } else {
        told.periodNs = image.arrivalNs - _lastArrivalNs;
        countPeriod(image, *told.periodNs);
    }
    _lastArrivalNs = image.arrivalNs;
    ++_counts.images;
    ++_interval.images;
    _interval.bytes += image.format.bytes();
    countKind(image.inspection);
    if (_counts.strip.lines == 0 && image.inspection.kind == frames::ImageKind::simulated) {
        _counts.strip = image.inspection.layout;
        _counts.verifiedFormat = image.format;
    }
    if (told.latencyNs) {
        _latencies.add(*told.latencyNs);
        _interval.latencies.add(*told.latencyNs);
    }
    return told;
}

void GrabStatistics::countPeriod(const ReceivedImage& image, std::int64_t periodNs) {
    _periods.add(periodNs);
    _interval.periods.add(periodNs);
    _bytesAfterFirst += image.format.bytes();
    if (periodNs > kPauseNs) _longGaps.push_back({periodNs, image.format.bytes()});
}

void GrabStatistics::countKind(const frames::Inspection& inspection) {
    switch (inspection.kind) {
        case frames::ImageKind::simulated:
            ++_counts.simulated;
            break;
        case frames::ImageKind::torn:
            ++_counts.torn;
            break;
        case frames::ImageKind::faked:
            ++_counts.faked;
            break;
        case frames::ImageKind::unverified:
            ++_counts.unverified;
            ++_counts.unverifiedBecause[static_cast<std::size_t>(inspection.unverified)];
            break;
    }
}

GrabStatistics::Pauses GrabStatistics::pauses() const {
    Pauses pauses;
    const std::int64_t atEndNs = _counts.images > 0 ? _waitedUntilNs - _lastArrivalNs : 0;
    if (_longGaps.empty() && atEndNs <= kPauseNs) return pauses;  // the usual case needs no median
    const std::optional<double> medianUs = _periods.percentileUs(0.50);
    const auto isPause = [&](std::int64_t ns) {
        return medianUs && static_cast<double>(ns) > kPausePeriods * *medianUs * 1000.0;
    };
    for (const Gap& gap : _longGaps) {
        if (!isPause(gap.ns)) continue;
        ++pauses.between;
        pauses.betweenNs += gap.ns;
        pauses.bytes += gap.bytes;
    }
    if (atEndNs > kPauseNs && isPause(atEndNs)) pauses.atEndNs = atEndNs;
    return pauses;
}

GrabResults GrabStatistics::results() const {
    GrabResults results = counts();
    fillTimes(results, _periods, _latencies);
    return results;
}

GrabResults GrabStatistics::counts() const {
    GrabResults results = _counts;
    results.lost = _check.sequence().lost();
    results.repeated = _check.sequence().repeated();
    results.reordered = _check.sequence().reordered();
    results.stale = _check.frames(FindingKind::stale);
    results.format = _check.frames(FindingKind::format);
    results.counter = _check.frames(FindingKind::counter);
    results.timeBack = _check.frames(FindingKind::timeBack);
    results.late = _check.frames(FindingKind::late);
    results.stopped = _check.frames(FindingKind::stopped);
    results.restarts = _check.restarts();
    results.sight = _check.sight();
    if (_counts.images == 0) return results;
    const Pauses pauses = this->pauses();
    results.pauses = pauses.between + (pauses.atEndNs > 0 ? 1 : 0);
    results.pauseS = static_cast<double>(pauses.betweenNs + pauses.atEndNs) / 1e9;
    const double seconds = static_cast<double>(_lastArrivalNs - _firstArrivalNs - pauses.betweenNs) / 1e9;
    if (seconds > 0) {
        results.fpsMean = static_cast<double>(_counts.images - 1 - pauses.between) / seconds;
        results.mbPerS = static_cast<double>(_bytesAfterFirst - pauses.bytes) / 1e6 / seconds;
    }
    return results;
}

}  // namespace host
