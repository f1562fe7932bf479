// Which of two processes is killed when, and in which order they are started again: random, but the same for a seed.
// The number of kills and the seed come from the environment, KILLS and KILLS_SEED; scripts/kills.sh sets them.
#pragma once

#include <chrono>
#include <optional>
#include <random>
#include <string>

namespace test {

struct Kill {
    bool first = false;   // that one is killed,
    bool second = false;  // or the other, or both
    bool secondStartsFirst = false;
    std::chrono::microseconds before{0};  // pause before the kill
    std::chrono::milliseconds after{0};   // and behind it
};

class KillPlan {
public:
    /// @param few  Kills when the environment names no number. Prints the seed.
    explicit KillPlan(int few);

    /// Whether the second one is started first at the very beginning.
    bool secondStartsFirst() { return below(2) == 0; }

    /// The next kill; none after the last.
    std::optional<Kill> next();

    /// Seconds in which all has to be well again: those of a free machine where the environment names the kills, else
    /// a minute, as for a test beside many others.
    static double limit(double ofAFreeMachine);

    /// Notes how long after the kill all was well again.
    void took(double seconds);

    /// Number of the kill, the seed and who was killed, for a failure's message.
    std::string where() const;

    /// Prints how many kills there were and how long they took: scripts/kills.sh reads it.
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
