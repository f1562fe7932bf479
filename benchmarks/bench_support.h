// What the benchmarks share: a second process in a role, placement on processors, medians, and the ratio table.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/// Starts this program again with further arguments; waited for by joinChild.
int startChild(const std::vector<std::string>& arguments);

/// Starts another program; waited for by joinChild.
int startProgram(const std::string& path, const std::vector<std::string>& arguments);

/// Waits for a child's end. @return its exit code.
int joinChild(int child);

/// Keeps this thread, and children started from it, on one processor; -1 lets them run anywhere.
void placeOn(int processor);

/// Whole microseconds would hide what is measured here: nanoseconds of the monotonic clock.
long long now();

/// Nanoseconds that this thread has run: what else the machine does meanwhile does not count.
long long threadTime();

/// 0 for none. Reorders its argument, as frames::percentile does.
double median(std::vector<double>& values);

enum class Aim { atMost, atLeast };

/// One line of a result: what was measured, ours and the limit's value, their ratio and the aim.
struct Result {
    std::string name;
    std::string unit;
    double ours;
    double limit;
    double aim;  // ratio that is wanted
    Aim kind = Aim::atMost;
};

/// Prints results as a table.
///
/// @param peer  What ours stands beside.
/// @return false when a ratio misses its aim.
bool report(const std::string& title, const std::vector<Result>& results, const char* peer = "bare limit");

}  // namespace bench
