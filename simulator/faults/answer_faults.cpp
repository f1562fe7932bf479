#include "answer_faults.h"

#include <chrono>
#include <utility>

namespace simulator {

void AnswerFaults::delayNext(std::int64_t timeNs) {
    const std::lock_guard lock(_mutex);
    _delayNs = timeNs;
}

void AnswerFaults::falsifyNext() {
    const std::lock_guard lock(_mutex);
    _falsify = true;
}

void AnswerFaults::apply(kest::dorven::ImagesMessage& answer) {
    std::unique_lock lock(_mutex);
    const std::chrono::nanoseconds delay(std::exchange(_delayNs, 0));
    if (std::exchange(_falsify, false)) {
        answer.value32 = ~answer.value32;
        answer.first = ~answer.first;
        answer.second = ~answer.second;
    }
    if (delay.count() > 0) _cancelledChanged.wait_for(lock, delay, [this] { return _cancelled; });
}

void AnswerFaults::cancel() {
    const std::lock_guard lock(_mutex);
    _cancelled = true;
    _cancelledChanged.notify_all();
}

}  // namespace simulator
