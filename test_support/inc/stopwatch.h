// Time in tests: waiting for an event, and measuring durations.
#pragma once

#include <algorithm>
#include <chrono>
#include <thread>

namespace test {

/// Seconds that the fastest of some calls took, each of which measures itself: a busy machine may delay one, but not
/// all.
/// Stops after the first call that was fast enough.
template <typename Call>
double quickestOf(int calls, double enough, Call&& call) {
    double quickest = call();
    for (int i = 1; i < calls && quickest >= enough; ++i) quickest = std::min(quickest, call());
    return quickest;
}

/// Seconds that a call takes.
template <typename Call>
double secondsOf(Call&& call) {
    const auto begin = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Waits until another thread or process makes a condition true.
template <typename Condition>
bool becomesTrue(Condition&& condition, std::chrono::milliseconds limit = std::chrono::seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace test
