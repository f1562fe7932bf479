#include <sys/prctl.h>

#include "platform.h"
#include "precise_timer.h"

PreciseTimer::PreciseTimer() : _formerSlack(prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0)) {
    prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
}

PreciseTimer::~PreciseTimer() {
    if (_formerSlack > 0) prctl(PR_SET_TIMERSLACK, _formerSlack, 0, 0, 0);
}

bool PreciseTimer::sleepUntil(std::int64_t deadlineNanoseconds) { return platform_sleepUntil(deadlineNanoseconds); }

bool PreciseTimer::sleepUntilAbout(std::int64_t deadlineNanoseconds) { return sleepUntil(deadlineNanoseconds); }
