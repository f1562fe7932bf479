// The simulator's event on a clock that runs a hundred times as fast: a wait of two seconds takes twenty milliseconds,
// so that a grab between real processes shows in a moment what otherwise takes half a minute.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "mprocessevent.h"
#include "object_names.h"

namespace test {

class ScaledEvent : public MEvent {
public:
    int Wait(double seconds) override {
        const int status = _event.Wait(seconds / 100.0);
        const std::lock_guard lock(_mutex);
        if (status == -1) ++_silences;
        _changed.notify_all();
        return status;
    }
    bool Notify() override { return _event.Notify(); }
    bool Set() override { return _event.Set(); }

    /// Waits until the grab has had two further silent waits; by then it has read everything signalled before.
    bool waitForSilence() {
        std::unique_lock lock(_mutex);
        const int wanted = _silences + 2;
        return _changed.wait_for(lock, std::chrono::seconds(60), [&] { return _silences >= wanted; });
    }

private:
    MProcessEvent _event{image_road::kImagesEvent};
    std::mutex _mutex;
    std::condition_variable _changed;
    int _silences = 0;
};

}  // namespace test
