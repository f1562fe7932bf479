// Time in tests: waiting for what comes, and how long something takes.
#pragma once

#include <algorithm>
#include <chrono>
#include <thread>

namespace test {

/// Seconds that the quickest of some calls took, each of which measures itself: a busy machine may hold up one, not
/// each. No further one is made when one was quick enough.
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

/// Waits for a condition that another thread, or process, brings about.
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
