// What the benchmarks share: a second process in a role, placement on processors, medians, and the ratio table.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/// Starts this program again with further arguments; waited for by joinChild.
int startChild(const std::vector<std::string>& arguments);

/// Waits for a child's end. @return its exit code.
int joinChild(int child);

/// Keeps this thread, and children started from it, on one processor; -1 lets them run anywhere.
void placeOn(int processor);

/// Whole microseconds would hide what is measured here: nanoseconds of the monotonic clock.
long long now();

/// The value below which that share of all lies; 0 for none. Sorts its argument.
double percentile(std::vector<double>& values, double share);

/// One line of a result: what was measured, ours and the limit's value, their ratio and the aim.
struct Result {
    std::string name;
    std::string unit;
    double ours;
    double limit;
    double aim;  // largest ratio that is wanted
};

/// Prints results as a table. @return false when a ratio is above its aim.
bool report(const std::string& title, const std::vector<Result>& results);

}  // namespace bench
