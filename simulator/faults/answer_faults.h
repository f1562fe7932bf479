// Faults in the simulator's answers to the camera's side: armed by the thread that delivers images, met by the one that
// answers.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "ImagesMessage.h"

namespace simulator {

class AnswerFaults {
public:
    /// The next request for a picture is answered that much later.
    void delayNext(std::int64_t timeNs);

    /// The next request for a picture is answered with other bytes.
    void falsifyNext();

    /// Called by who answers: takes what is armed, waits and changes the answer accordingly.
    void apply(kest::dorven::ImagesMessage& answer);

    /// No answer waits any more, from now on.
    void cancel();

private:
    std::mutex _mutex;  // guards all below
    std::condition_variable _cancelledChanged;
    std::int64_t _delayNs = 0;
    bool _falsify = false;
    bool _cancelled = false;
};

}  // namespace simulator
