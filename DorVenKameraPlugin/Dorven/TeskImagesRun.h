// The state of one grab, from the start of its worker thread to its end.
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

/// Shared by the worker thread and those who start and stop it; exists until the last of them releases it.
struct TeskImages::Run {
    enum class State { waiting, grabbing, faking };

    /// @param former  The previous grab, or null. If it has ended, the one before it is waited for instead.
    explicit Run(std::shared_ptr<Run> former) {
        while (former && former->hasEnded()) former = former->_former;
        _former = std::move(former);
        _began = !_former;
    }

    std::atomic<bool> running{true};  // cleared by stop

    // ---- only for the worker thread

    bool left = false;       // the callback itself stopped this grab: its owner may be gone
    double periodS = 0.0;    // from one faked image to the next, fixed at the start
    double timeoutS = 0.0;   // of the next wait; distinguishes waiting and grabbing from faking
    int misses = 0;          // waits in a row without a signal
    double askAgainS = 0.0;  // after a failed wait: time until the event is waited for again; 0: it works
    double restedS = 0.0;    // elapsed part of that time
    ImageFifo fifo;

    /// Told by the timeout; kept on purpose: docs/oddities.md, faking-by-timeout
    State state() const {
        constexpr double kFakingBelowS = 1.6;  // a wait of at least this long was one for the simulator
        if (!(timeoutS >= kFakingBelowS)) return State::faking;
        return fifo ? State::grabbing : State::waiting;
    }

    // ---- the thread's turn and its end

    /// Ends the grab; if it had no turn yet, it never gets one.
    void stop() {
        const std::lock_guard lock(_mutex);
        running = false;
        _changed.notify_all();
    }

    /// Waits for a time in seconds or for stop, whichever comes first. A time that is negative, no number or longer
    /// than an event can wait never ends.
    void rest(double seconds) {
        constexpr double kLongestS = 4294967.0;
        const auto stopped = [this] { return !running; };
        std::unique_lock lock(_mutex);
        if (seconds >= 0.0 && seconds < kLongestS)
            _changed.wait_for(lock, std::chrono::duration<double>(seconds), stopped);
        else
            _changed.wait(lock, stopped);
    }

    /// Whether it waits for the event, or soon will. After stop the answer does not change.
    bool hadItsTurn() {
        const std::lock_guard lock(_mutex);
        return _began;
    }

    /// On the new thread: waits until the previous grab has ended, which may still be inside its callback. A grab that
    /// is stopped before its own turn passes the wait for the previous one on, so that two never work at once.
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

    std::shared_ptr<Run> _former;  // may still run; used by this thread, after its end by the next one
    std::mutex _mutex;
    std::condition_variable _changed;  // running or _ended has changed
    bool _began = false;
    bool _ended = false;
};

/// Converts seconds to whole microseconds. A negative time wraps like the record's unsigned field. Not finite, or
/// beyond 64 bits: 0.
std::uint64_t microseconds(double seconds);

}  // namespace kest::dorven
