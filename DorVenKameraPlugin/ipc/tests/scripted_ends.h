// Both ends of a messenger, played by a script: each wait returns what the test says, each call is recorded.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "test_channel.h"

namespace test {

/// The calls of both ends, in order, from any thread.
class Calls {
public:
    void note(const std::string& call) {
        const std::lock_guard lock(_mutex);
        _calls.push_back(call);
    }
    std::vector<std::string> take() {
        const std::lock_guard lock(_mutex);
        return std::exchange(_calls, {});
    }

private:
    std::mutex _mutex;
    std::vector<std::string> _calls;
};

class ScriptedSender : public IPMessageSender {
public:
    explicit ScriptedSender(Calls& calls)
        : IPMessageSender("", 0, std::make_shared<MProcessEvent>(nullptr)), _calls(calls) {}

    void open() override { _calls.note("sender open"); }
    void close() override { _calls.note("sender close"); }
    bool isConnected() override { return connected; }
    void write(const void* bytes, const std::size_t& size) override {
        std::string text = "write " + std::to_string(size);
        if (size == sizeof(FrameHeader)) {
            FrameHeader header;
            std::memcpy(&header, bytes, sizeof header);
            text += " step " + std::to_string(header.step);
        } else {
            const auto* const begin = static_cast<const std::uint8_t*>(bytes);
            const std::lock_guard lock(_mutex);
            _payload.assign(begin, begin + size);
        }
        _calls.note(text);
    }
    void notify() override { _calls.note("sender notify"); }

    /// The last payload written.
    Payload payload() const {
        const std::lock_guard lock(_mutex);
        return _payload;
    }

    std::atomic<bool> connected{true};

private:
    Calls& _calls;
    mutable std::mutex _mutex;
    Payload _payload;
};

class ScriptedReceiver : public IPMessageReceiver {
public:
    explicit ScriptedReceiver(Calls& calls)
        : IPMessageReceiver("", 0, std::make_shared<MProcessEvent>(nullptr)), _calls(calls) {}

    /// Appends a result of a wait. A wait beyond the script blocks until notify, which makes it return 3.
    void answer(int status) {
        const std::lock_guard lock(_mutex);
        _script.push_back(status);
        _changed.notify_all();
    }
    /// Waits until every result was returned and the thread waits again.
    bool playToEnd() {
        std::unique_lock lock(_mutex);
        return _changed.wait_for(lock, std::chrono::seconds(60), [this] { return _script.empty() && _waiting; });
    }

    void open() override { _calls.note("receiver open"); }
    void close() override {
        if (onClose) onClose();
        _calls.note("receiver close");
    }
    bool isConnected() override { return connected; }
    bool hasData() override {
        if (onHasData) onHasData();
        return frame.has_value();
    }
    void read(void* buffer, const std::size_t& size) override {
        _copied = size;
        if (!frame || size != sizeof(FrameHeader)) return;
        std::memcpy(buffer, &*frame, size);
        frame.reset();
    }
    int wait(const double& seconds) override {
        std::unique_lock lock(_mutex);
        _timeouts.push_back(seconds);
        _waiting = true;
        _changed.notify_all();
        _changed.wait(lock, [this] { return !_script.empty() || _notified; });
        _waiting = false;
        if (_script.empty()) {
            _notified = false;
            return 3;
        }
        const int status = _script.front();
        _script.pop_front();
        return status;
    }
    void notify() override {
        if (onNotify) onNotify();
        const std::lock_guard lock(_mutex);
        _notified = true;
        _changed.notify_all();
    }

    std::vector<double> timeouts() const {
        const std::lock_guard lock(_mutex);
        return _timeouts;
    }

    std::atomic<bool> connected{true};
    std::function<void()> onClose;     // on the messenger's thread
    std::function<void()> onHasData;   // on the messenger's thread, once per signalled pass
    std::function<void()> onNotify;    // on the thread that wakes the messenger's
    std::optional<FrameHeader> frame;  // waits in the fifo; the messenger's thread takes it

private:
    Calls& _calls;
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<int> _script;
    std::vector<double> _timeouts;
    bool _waiting = false;
    bool _notified = false;
};

/// An event with hooks into its waits and signals.
class HookedEvent : public MEvent {
public:
    int Wait(double seconds) override {
        {
            const std::lock_guard lock(_mutex);
            _timeouts.push_back(seconds);
        }
        if (seconds == 0.0 && onClear) onClear();
        const int result = _event.Wait(seconds);
        if (seconds > 0.0 && onWoken) onWoken();
        return result;
    }
    bool Notify() override {
        {
            const std::lock_guard lock(_mutex);
            ++_notifications;
            if (_deaf > 0) return --_deaf, true;
        }
        return _event.Notify();
    }
    bool Set() override { return Notify(); }

    /// The next notifications wake nobody, as if another process took them.
    void loseNotifications(int count) {
        const std::lock_guard lock(_mutex);
        _deaf = count;
    }
    std::vector<double> timeouts() const {
        const std::lock_guard lock(_mutex);
        return _timeouts;
    }
    int notifications() const {
        const std::lock_guard lock(_mutex);
        return _notifications;
    }

    std::function<void()> onClear;  // before a wait with timeout 0
    std::function<void()> onWoken;  // after a wait with a timeout

private:
    MProcessEvent _event{nullptr};
    mutable std::mutex _mutex;
    std::vector<double> _timeouts;
    int _notifications = 0;
    int _deaf = 0;
};

/// A messenger whose ends, completion event and clock belong to the test.
class ScriptedMessenger : public IPMessenger {
public:
    explicit ScriptedMessenger(std::shared_ptr<Comm> comm) : IPMessenger(std::move(comm)) {
        _sender = sender;
        _receiver = receiver;
        _finished = finished;
        _now = [this] { return Clock::time_point(std::chrono::milliseconds(milliseconds)); };
    }
    using IPMessenger::establishedConnection;
    using IPMessenger::last;
    using IPMessenger::setStep;
    void start() { IPMessenger::start(kest::dorven::startStandardThread); }

    std::atomic<std::int64_t> milliseconds{0};  // the clock; it does not advance by itself
    Calls calls;
    std::shared_ptr<ScriptedSender> sender = std::make_shared<ScriptedSender>(calls);
    std::shared_ptr<ScriptedReceiver> receiver = std::make_shared<ScriptedReceiver>(calls);
    std::shared_ptr<HookedEvent> finished = std::make_shared<HookedEvent>();
};

}  // namespace test
