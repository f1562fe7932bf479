// Faults in the simulator's answers to the camera's side. The thread that delivers images sets them; the answering
// thread applies them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "ImagesMessage.h"

namespace simulator {

class AnswerFaults {
public:
    /// Delays the answer to the next request for a picture by that time.
    void delayNext(std::int64_t timeNs);

    /// Changes the bytes of the answer to the next request for a picture.
    void falsifyNext();

    /// Called by the answering thread: takes the faults that are set, waits and changes the answer accordingly.
    void apply(kest::dorven::ImagesMessage& answer);

    /// From now on no answer is delayed.
    void cancel();

private:
    std::mutex _mutex;  // guards everything below
    std::condition_variable _cancelledChanged;
    std::int64_t _delayNs = 0;
    bool _falsify = false;
    bool _cancelled = false;
};

}  // namespace simulator
