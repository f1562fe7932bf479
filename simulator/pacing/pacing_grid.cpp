#include "pacing_grid.h"

namespace simulator {
namespace {

constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;

}  // namespace

// Both terms of a rate are at most 10^9, so no product here or below exceeds 10^18.
PacingGrid::PacingGrid(std::int64_t startNs, const FrameRate& rate)
    : _startNs(startNs),
      _frames(rate.frames),
      _wholeNs(rate.seconds * kNanosecondsPerSecond / rate.frames),
      _restNs(rate.seconds * kNanosecondsPerSecond % rate.frames) {}

// Groups of _frames periods have no remainder, so they are removed before the remainder is multiplied.
std::int64_t PacingGrid::offsetNs(std::uint64_t frame) const {
    const std::uint64_t groups = frame / _frames;
    const std::uint64_t beyond = frame % _frames;
    return static_cast<std::int64_t>(frame * _wholeNs + groups * _restNs + beyond * _restNs / _frames);
}

std::uint64_t PacingGrid::latestAt(std::int64_t timeNs) const {
    if (timeNs < _startNs) return 0;
    const auto elapsedNs = static_cast<std::uint64_t>(timeNs - _startNs);
    // The period lies between _wholeNs and _wholeNs + 1, so the due frame lies between the results for these two.
    std::uint64_t due = elapsedNs / (_wholeNs + 1);
    std::uint64_t beyond = elapsedNs / _wholeNs + 1;
    while (beyond - due > 1) {
        const std::uint64_t middle = due + (beyond - due) / 2;
        (dueNs(middle) <= timeNs ? due : beyond) = middle;
    }
    return due;
}

std::uint64_t PacingGrid::frameToDeliver(std::uint64_t frame, std::int64_t nowNs, std::uint64_t tolerated) const {
    const std::uint64_t latest = latestAt(nowNs);
    return latest > frame && latest - frame > tolerated ? latest : frame;
}

}  // namespace simulator
