// What one grab consists of, from the start of its worker thread to its end.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "TeskImages.h"
#include "TeskImagesFifo.h"

namespace kest::dorven {

/// Shared by the worker thread and those who start and stop it; lives until the last of them lets go.
struct TeskImages::Run {
    enum class State { waiting, grabbing, faking };

    /// @param former  The grab before, or null. One that has ended leaves those before it to wait for.
    explicit Run(std::shared_ptr<Run> former) {
        while (former && former->hasEnded()) former = former->_former;
        _former = std::move(former);
        _began = !_former;
    }

    std::atomic<bool> running{true};  // cleared by stop

    // ---- the worker thread's alone

    bool left = false;       // the callback itself stopped this grab: whatever owned it may be gone
    double periodS = 0.0;    // from one faked image to the next, as of the start
    double timeoutS = 0.0;   // of the next wait; tells waiting and grabbing from faking
    int misses = 0;          // waits in a row without a signal
    double askAgainS = 0.0;  // after a failed wait: the time that passes before the event is asked again; 0: it works
    double restedS = 0.0;    // of that
    ImageFifo fifo;

    /// Told by the timeout; kept on purpose: docs/oddities.md, faking-by-timeout
    State state() const {
        constexpr double kFakingBelowS = 1.6;  // a wait of at least this was one for the simulator
        if (!(timeoutS >= kFakingBelowS)) return State::faking;
        return fifo ? State::grabbing : State::waiting;
    }

    // ---- the thread's turn and its end

    /// Ends the grab; one that had no turn yet never gets it.
    void stop() {
        const std::lock_guard lock(_mutex);
        running = false;
        _changed.notify_all();
    }

    /// Waits for the end of a time in seconds or for stop, whichever comes first. A time that is negative, no number or
    /// longer than an event can wait has no end.
    void rest(double seconds) {
        constexpr double kLongestS = 4294967.0;
        const auto stopped = [this] { return !running; };
        std::unique_lock lock(_mutex);
        if (seconds >= 0.0 && seconds < kLongestS)
            _changed.wait_for(lock, std::chrono::duration<double>(seconds), stopped);
        else
            _changed.wait(lock, stopped);
    }

    /// Whether it waits for the event, or soon will. After stop the answer stays.
    bool hadItsTurn() {
        const std::lock_guard lock(_mutex);
        return _began;
    }

    /// Waits on the new thread for the end of the grab before, which may still be inside its callback. One that was
    /// stopped before its own turn leaves the grab before it to wait for, so that no two ever work at once.
    /// @return False when this grab was stopped meanwhile.
    bool waitForTurn() {
        while (!takeTurn()) {
            if (!running) return false;
            if (_former->waitForEnd(std::chrono::milliseconds(10))) _former = std::exchange(_former->_former, nullptr);
        }
        return true;
    }

    void announceEnd() {
        const std::lock_guard lock(_mutex);
        _ended = true;
        _changed.notify_all();
    }

    /// @return Whether the thread function has ended within the limit.
    bool waitForEnd(std::chrono::milliseconds limit) {
        std::unique_lock lock(_mutex);
        return _changed.wait_for(lock, limit, [this] { return _ended; });
    }

    void waitForEnd() {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [this] { return _ended; });
    }

    bool hasEnded() {
        const std::lock_guard lock(_mutex);
        return _ended;
    }

private:
    bool takeTurn() {
        const std::lock_guard lock(_mutex);
        if (!_began) _began = running && !_former;
        return _began;
    }

    std::shared_ptr<Run> _former;  // not yet known to have ended; this thread's, after its end the next one's
    std::mutex _mutex;
    std::condition_variable _changed;  // running or _ended
    bool _began = false;
    bool _ended = false;
};

/// Whole microseconds of a time in seconds; a negative one wraps as the record's unsigned field does. Not finite, or
/// beyond 64 bits: 0.
std::uint64_t microseconds(double seconds);

}  // namespace kest::dorven
