#include "kill_plan.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

namespace test {
namespace {

int numberFrom(const char* variable, int otherwise) {
    const char* const text = std::getenv(variable);
    return text && *text ? std::atoi(text) : otherwise;
}

}  // namespace

KillPlan::KillPlan(int few)
    : _kills(numberFrom("KILLS", few)),
      _seed(numberFrom("KILLS_SEED", static_cast<int>(std::random_device()() & 0xFFFFFF))),
      _generator(static_cast<unsigned>(_seed)) {
    testing::Test::RecordProperty("seed", _seed);
    std::printf("seed %d\n", _seed);
}

std::optional<Kill> KillPlan::next() {
    if (_done == _kills) return std::nullopt;
    ++_done;
    _kill = {};
    _kill.before = std::chrono::microseconds(below(20'000));
    const int which = below(5);  // first, first, second, second, both
    _kill.first = which < 2 || which == 4;
    _kill.second = which >= 2;
    if (below(3) == 0) _kill.after = std::chrono::milliseconds(below(1'000));
    _kill.secondStartsFirst = below(2) == 0;
    return _kill;
}

double KillPlan::limit(double ofAFreeMachine) { return numberFrom("KILLS", 0) > 0 ? ofAFreeMachine : 60.0; }

void KillPlan::took(double seconds) {
    _longest = std::max(_longest, seconds);
    _sum += seconds;
}

std::string KillPlan::where() const {
    return "kill " + std::to_string(_done) + ", seed " + std::to_string(_seed) + (_kill.first ? ", the first" : "") +
           (_kill.second ? ", the second" : "") + "; ";
}

void KillPlan::report() const {
    std::printf("%d kills, well again after %.2f s in the mean, %.2f s at most\n", _done, _sum / std::max(_done, 1),
                _longest);
}

}  // namespace test
