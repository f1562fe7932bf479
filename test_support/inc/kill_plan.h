// Which of two processes is killed when, and in which order they are restarted: random, but the same for the same seed.
// The number of kills and the seed come from the environment, KILLS and KILLS_SEED; scripts/kills.sh sets them.
#pragma once

#include <chrono>
#include <optional>
#include <random>
#include <string>

namespace test {

struct Kill {
    bool first = false;   // kill the first one,
    bool second = false;  // or the second, or both
    bool secondStartsFirst = false;
    std::chrono::microseconds before{0};  // pause before the kill
    std::chrono::milliseconds after{0};   // and after it
};

class KillPlan {
public:
    /// @param few  Number of kills if the environment does not set it. Prints the seed.
    explicit KillPlan(int few);

    /// Whether the second one is started first at the very beginning.
    bool secondStartsFirst() { return below(2) == 0; }

    /// The next kill; none after the last.
    std::optional<Kill> next();

    /// Seconds within which everything must work again: those of an idle machine if the environment sets the kills;
    /// otherwise a minute, because many other tests may run.
    static double limit(double ofAFreeMachine);

    /// Records how long after the kill everything worked again.
    void took(double seconds);

    /// Number of the kill, the seed and who was killed, for the message of a failure.
    std::string where() const;

    /// Prints the number of kills and how long they took, for scripts/kills.sh.
    void report() const;

private:
    int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(_generator); }

    int _kills;
    int _seed;
    std::mt19937 _generator;
    int _done = 0;
    Kill _kill;
    double _longest = 0.0;
    double _sum = 0.0;
};

}  // namespace test
