#include "image_check.h"

#include <algorithm>

namespace host {
namespace {

constexpr std::uint64_t kMaxCounterGap = 1000;  // between images that a counter without a strip may bridge

constexpr std::uint64_t kPlausibleAgeUs = 60'000'000;  // of an image that waited in the ring
constexpr std::uint64_t kSameClockUs = 1000;           // between the time stamps of record and strip

// A time stamp in the future must not make all later images look old.
std::uint64_t timeStampOf(const frames::Strip& strip, std::int64_t arrivalNs) {
    return std::min(strip.timeStampNs, static_cast<std::uint64_t>(std::max<std::int64_t>(arrivalNs, 0)));
}

double microseconds(std::int64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1000.0; }

}  // namespace

void ImageCheck::find(FindingKind kind, std::uint64_t number, std::optional<double> latencyUs) {
    _findings.add({kind, {number, number}, latencyUs});
}

bool ImageCheck::isFromBefore(const ReceivedImage& image) const {
    if (_sight) return false;
    const auto startNs = static_cast<std::uint64_t>(_settings.startNs);
    if (const auto& strip = image.inspection.strip) return timeStampOf(*strip, image.arrivalNs) < startNs;
    return image.inspection.kind == frames::ImageKind::unverified && recordHasStripsClock(image) &&
           image.timeStampUs < startNs / 1000;
}

// Until a strip has shown it, judged by plausibility: a clock with another origin is hardly ever this close.
bool ImageCheck::recordHasStripsClock(const ReceivedImage& image) const {
    if (_recordsHaveStripsClock) return *_recordsHaveStripsClock;
    const std::uint64_t arrivalUs = static_cast<std::uint64_t>(image.arrivalNs) / 1000;
    return image.timeStampUs <= arrivalUs && arrivalUs - image.timeStampUs < kPlausibleAgeUs;
}

ImageCheck::Told ImageCheck::addFromBefore(const ReceivedImage& image) {
    const auto& strip = image.inspection.strip;
    const std::uint64_t number = strip ? strip->frameNumber : numberByCounter(image.counter);
    find(FindingKind::stale, number);
    if (!strip) return {std::nullopt, std::nullopt, true};
    checkTorn(number, image.inspection.kind);
    const std::uint64_t stripUs = strip->timeStampNs / 1000;
    const std::uint64_t apartUs = std::max(stripUs, image.timeStampUs) - std::min(stripUs, image.timeStampUs);
    _recordsHaveStripsClock = apartUs <= kSameClockUs;
    _newest = number;
    _counterAhead = image.counter - static_cast<std::uint32_t>(number);
    return {number, std::nullopt, true};
}

void ImageCheck::checkTorn(std::uint64_t number, frames::ImageKind kind) {
    if (kind != frames::ImageKind::torn || _torn == number) return;
    find(FindingKind::torn, number);
    _torn = number;
}

ImageCheck::Told ImageCheck::add(const ReceivedImage& image) {
    if (isFromBefore(image)) return addFromBefore(image);
    if (!_format) _format = image.format;
    const auto& strip = image.inspection.strip;
    const std::uint64_t number = strip ? strip->frameNumber : numberByCounter(image.counter);
    if (image.format != *_format) find(FindingKind::format, number);
    checkTorn(number, image.inspection.kind);
    if (strip) return checkStrip(*strip, image);
    if (image.inspection.kind == frames::ImageKind::unverified) checkWithoutStrip(image);
    return {};
}

// The record's counter identifies it: it has come, so it is not lost too. A counter far from the others identifies
// nothing.
void ImageCheck::checkWithoutStrip(const ReceivedImage& image) {
    if (!_newest) return;
    const std::uint64_t number = numberByCounter(image.counter);
    if (image.format == *_format) find(FindingKind::format, number);
    if (!_sight || number <= _sight->last || number - _sight->last > kMaxCounterGap) return;
    _sequence.add(number, _latestTimeStampNs);
    _sight->last = number;
    _newest = number;
}

// Within 2^31 of the newest number; 0 when there is none to count from.
std::uint64_t ImageCheck::numberByCounter(std::uint32_t counter) const {
    if (!_newest || !_counterAhead) return 0;
    const auto step = static_cast<std::int32_t>(counter - *_counterAhead - static_cast<std::uint32_t>(*_newest));
    if (step < 0 && static_cast<std::uint64_t>(-std::int64_t{step}) > *_newest) return 0;
    return *_newest + static_cast<std::uint64_t>(std::int64_t{step});
}

ImageCheck::Told ImageCheck::checkStrip(const frames::Strip& strip, const ReceivedImage& image) {
    const std::uint64_t number = strip.frameNumber;
    const std::uint64_t timeStampNs = timeStampOf(strip, image.arrivalNs);
    const Follows follows = _sequence.add(number, timeStampNs);
    if (follows == Follows::first || follows == Follows::anew) {
        _restarts += follows == Follows::anew ? 1 : 0;
        _sight.reset();
        _newest.reset();
        _counterAhead.reset();
        _latestTimeStampNs = timeStampNs;
        _stamps = {};
    }
    if (!_sight) _sight = FrameRange{number, number};
    *_sight = {std::min(_sight->first, number), std::max(_sight->last, number)};
    _newest = std::max(_newest.value_or(0), number);
    checkCounter(number, image.counter);
    return {number, checkTime(number, timeStampNs, follows, image.arrivalNs)};
}

void ImageCheck::checkCounter(std::uint64_t number, std::uint32_t counter) {
    const std::uint32_t ahead = counter - static_cast<std::uint32_t>(number);
    if (_counterAhead && ahead != *_counterAhead) find(FindingKind::counter, number);
    _counterAhead = ahead;
}

std::optional<std::int64_t> ImageCheck::checkTime(std::uint64_t number, std::uint64_t timeStampNs, Follows follows,
                                                  std::int64_t arrivalNs) {
    if (follows == Follows::repeated || follows == Follows::reordered) {
        find(follows == Follows::repeated ? FindingKind::repeated : FindingKind::reordered, number);
        if (follows == Follows::reordered && wentBack(number, timeStampNs)) find(FindingKind::timeBack, number);
        return std::nullopt;
    }
    _stamps[_nextStamp++ % _stamps.size()] = {number, timeStampNs};
    if (timeStampNs < _latestTimeStampNs) {
        find(FindingKind::timeBack, number);
        return std::nullopt;
    }
    _latestTimeStampNs = timeStampNs;
    const std::int64_t latencyNs = arrivalNs - static_cast<std::int64_t>(timeStampNs);
    if (latencyNs > kStaleNs) find(FindingKind::stale, number, microseconds(latencyNs));
    if (_settings.lateFromNs && latencyNs >= *_settings.lateFromNs)
        find(FindingKind::late, number, microseconds(latencyNs));
    return latencyNs;
}

// For a frame that came after greater ones: whether a smaller recent one has a later time stamp.
bool ImageCheck::wentBack(std::uint64_t number, std::uint64_t timeStampNs) const {
    return std::any_of(_stamps.begin(), _stamps.end(),
                       [&](const Stamp& stamp) { return stamp.number < number && stamp.timeStampNs > timeStampNs; });
}

void ImageCheck::stopped() {
    if (_newest) find(FindingKind::stopped, *_newest == UINT64_MAX ? UINT64_MAX : *_newest + 1);
}

FindingList ImageCheck::findings() const {
    FindingList all(_settings.capacity);
    for (const FrameRange& range : _sequence.settled()) all.add({FindingKind::lost, range, {}});
    for (const auto& [first, last] : _sequence.missing()) all.add({FindingKind::lost, {first, last}, {}});
    all.addOmitted(FindingKind::lost, _sequence.omittedRanges(), _sequence.omittedFrames());
    all.add(_findings);
    all.sort();
    return all;
}

}  // namespace host
