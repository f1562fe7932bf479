// Deliberate faults at a slot: of the ring, of time, of the process.
#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "fault_log_words.h"
#include "platform.h"
#include "simulator.h"

namespace simulator {
namespace {

constexpr int kCrashed = 1;

/// Before a ring is deliberately recreated, an attached reader gets this long to take what waits, so that it is certain
/// which images it never saw.
constexpr std::int64_t kDrainNs = 200'000'000;
constexpr std::int64_t kDrainLookNs = 100'000;

std::vector<Expectation> lost(const std::vector<FrameRange>& ranges) {
    std::vector<Expectation> expectations;
    expectations.reserve(ranges.size());
    for (const FrameRange& range : ranges)
        expectations.push_back({frames::finding::kLost, range.first, range.last, {}});
    return expectations;
}

// First frame after `frame` that is due a time after it; without a time, the next frame.
std::uint64_t frameAfter(const PacingGrid& grid, std::uint64_t frame, std::int64_t timeNs) {
    if (timeNs == 0) return frame + 1;
    return std::max(grid.latestAt(grid.dueNs(frame) + timeNs - 1) + 1, frame + 1);
}

bool goesOn(FaultKind kind) {
    return kind == FaultKind::lateAnswer || kind == FaultKind::wrongAnswer || kind == FaultKind::recreate;
}

}  // namespace

std::optional<std::uint64_t> Simulator::strikeSlots(const PacingGrid& grid, const FrameRange& frames) {
    const std::uint64_t frame = frames.last;
    if (!_faults) return frame;
    for (const Strike& due : slotStrikes(frames)) {
        _delivery.deliverHeld();
        const auto next = strike(grid, due, frame);
        // The first fault that takes time leaves none for others.
        if (!next || !goesOn(due.kind)) return next;
    }
    return frame;
}

/// Each kind once, in the order in which they take effect.
std::vector<Strike> Simulator::slotStrikes(const FrameRange& frames) const {
    std::vector<Strike> found;
    for (std::uint64_t frame = frames.first; frame <= frames.last; ++frame) {
        for (const Strike& strike : _faults->strikesAt(frame)) {
            if (rowOf(strike.kind).ofImage) continue;
            if (std::ranges::find(found, strike.kind, &Strike::kind) == found.end()) found.push_back(strike);
        }
    }
    std::ranges::sort(found, {}, &Strike::kind);
    return found;
}

std::optional<std::uint64_t> Simulator::strike(const PacingGrid& grid, const Strike& strike, std::uint64_t frame) {
    switch (strike.kind) {
        case FaultKind::lateAnswer:
            _faults->answers()->delayNext(strike.timeNs);
            _delivery.tellFault(strike.kind, frame, {});
            return frame;
        case FaultKind::wrongAnswer:
            _faults->answers()->falsifyNext();
            _delivery.tellFault(strike.kind, frame, {});
            return frame;
        case FaultKind::recreate:
            recreate(frame);
            return frame;
        case FaultKind::hang:
            hang(frame);
            return std::nullopt;
        case FaultKind::crash:
            crash(frame);
        case FaultKind::stall:
            return stall(grid, strike, frame);
        default:
            return disturbRing(grid, strike, frame);
    }
}

/// Forgets the unread frames, and counts them.
std::vector<std::uint64_t> Simulator::takeUnread() {
    std::vector<std::uint64_t> frames = _delivery.unread();
    _totals.unread += frames.size();
    return frames;
}

void Simulator::drainReader() {
    const std::int64_t endNs = platform_monotonicNanoseconds() + kDrainNs;
    while (_ring.waiting() > 0 && _ring.readerIndex() && platform_monotonicNanoseconds() < endNs) {
        if (!_timer.sleepUntil(platform_monotonicNanoseconds() + kDrainLookNs)) return;
    }
}

void Simulator::recreate(std::uint64_t frame) {
    drainReader();
    const auto unread = rangesOf(takeUnread());
    openRing();
    _delivery.tellFault(FaultKind::recreate, frame, lost(unread));
}

/// Until a stop is requested, or --duration is over.
void Simulator::hang(std::uint64_t frame) {
    _nextFrame = frame;
    _delivery.tellFault(FaultKind::hang, frame, {{frames::finding::kStopped, frame, {}, {}}});
    _people << "dorven-simulator: hangs from frame " << frame << " on" << std::endl;
    while (platform_monotonicNanoseconds() < _endNs && _timer.sleepUntil(_endNs)) {
    }
}

void Simulator::crash(std::uint64_t frame) {
    _delivery.tellFault(FaultKind::crash, frame, {{frames::finding::kStopped, frame, {}, {}}});
    std::_Exit(kCrashed);
}

/// The frames from `frame` to below `next`, which are left out; fewer when the run ends before.
FrameRange Simulator::missed(const PacingGrid& grid, std::uint64_t frame, std::uint64_t next) const {
    std::uint64_t last = next - 1;
    if (platform_stopRequested())
        last = std::min(last, std::max(grid.latestAt(platform_monotonicNanoseconds()), frame));
    if (_options.pacing.frameCount != 0) last = std::min(last, _options.pacing.frameCount - 1);
    return {frame, last};
}

/// Makes the ring unusable for readers, for a while.
std::uint64_t Simulator::disturbRing(const PacingGrid& grid, const Strike& strike, std::uint64_t frame) {
    const std::uint64_t next = frameAfter(grid, frame, strike.timeNs);
    drainReader();
    std::vector<FrameRange> gone = rangesOf(takeUnread());
    if (strike.kind == FaultKind::wrongSize) {
        _ring.recreateFor(format().bytes() / 2);
    } else {
        _ring.spoilHeader(scatter(_faults->seed(), 1, frame));
    }
    _ring.wakeReader();
    _timer.sleepUntil(std::min(grid.dueNs(next), _endNs));
    _ring.recreateFor(format().bytes());
    _delivery.ringLaid();
    gone.push_back(missed(grid, frame, next));
    _nextFrame = gone.back().last + 1;
    _delivery.tellFault(strike.kind, frame, lost(gone));
    return next;
}

std::uint64_t Simulator::stall(const PacingGrid& grid, const Strike& strike, std::uint64_t frame) {
    const std::uint64_t next = frameAfter(grid, frame, strike.timeNs);
    const std::int64_t endNs = std::min(grid.dueNs(frame) + strike.timeNs, _endNs);
    _timer.sleepUntil(endNs);
    const FrameRange range = missed(grid, frame, next);
    if (_options.pacing.late == LatePolicy::skip) {
        _nextFrame = range.last + 1;
        _delivery.tellFault(strike.kind, frame, lost({range}));
        return next;
    }
    _stalled.emplace(next, grid);
    const std::int64_t leastNs = std::max<std::int64_t>(endNs - _delivery.stampOf(grid.dueNs(range.last)), 0);
    _delivery.tellFault(strike.kind, frame, {{frames::finding::kLate, range.first, range.last, leastNs / 1000}});
    return frame;
}

}  // namespace simulator
