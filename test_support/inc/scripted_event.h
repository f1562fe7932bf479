// An event that answers waits from a script and records their timeouts, so that a grab takes no time.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "mprocessevent.h"

namespace test {

class ScriptedEvent : public MEvent {
public:
    /// The action of one wait: runs on the worker thread, returns the wait's status.
    using Step = std::function<int()>;

    /// Appends answers to waits. A wait beyond the script blocks until Notify.
    void answer(int status, int times = 1) {
        for (int i = 0; i < times; ++i) step([status] { return status; });
    }
    void step(Step step) {
        const std::lock_guard lock(_mutex);
        _script.push_back(std::move(step));
        _changed.notify_all();
    }

    /// Blocks until every answer was given and the thread waits beyond them.
    void playToEnd() {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [this] { return _script.empty() && _blocked; });
    }

    int Wait(double seconds) override {
        std::unique_lock lock(_mutex);
        _timeouts.push_back(seconds);
        _blocked = true;
        _changed.notify_all();
        _changed.wait(lock, [this] { return !_script.empty() || _notified; });
        _blocked = false;
        if (_script.empty()) {
            _notified = false;
            return 1;
        }
        const Step step = _script.front();
        lock.unlock();
        const int status = step();
        lock.lock();
        _script.pop_front();
        return status;
    }
    bool Notify() override {
        const std::lock_guard lock(_mutex);
        ++_notifications;
        if (_deaf > 0)
            --_deaf;
        else
            _notified = true;
        _changed.notify_all();
        return true;
    }
    bool Set() override { return Notify(); }

    /// Discards unused answers and a pending notification.
    void forgetScript() {
        const std::lock_guard lock(_mutex);
        _script.clear();
        _notified = false;
    }
    /// The next notifications wake nobody, as if another process took them.
    void loseNotifications(int count) {
        const std::lock_guard lock(_mutex);
        _deaf = count;
    }
    std::vector<double> timeouts() const {
        const std::lock_guard lock(_mutex);
        return _timeouts;
    }
    /// Whether a notification is pending.
    bool isNotified() const {
        const std::lock_guard lock(_mutex);
        return _notified;
    }
    int notifications() const {
        const std::lock_guard lock(_mutex);
        return _notifications;
    }

private:
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<Step> _script;
    std::vector<double> _timeouts;
    bool _blocked = false;
    bool _notified = false;
    int _deaf = 0;
    int _notifications = 0;
};

}  // namespace test
