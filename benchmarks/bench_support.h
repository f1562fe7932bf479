// Shared by the benchmarks: a second process in a role, placement on processors, medians, and the table of ratios.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/// Starts this program again with further arguments; wait for it with joinChild.
int startChild(const std::vector<std::string>& arguments);

/// Starts another program; wait for it with joinChild.
int startProgram(const std::string& path, const std::vector<std::string>& arguments);

/// Waits for a child's end. @return Its exit code.
int joinChild(int child);

/// Keeps this thread, and children that it starts, on one processor; -1: on any.
void placeOn(int processor);

/// Nanoseconds of the monotonic clock, because microseconds would be too coarse here.
long long now();

/// Nanoseconds that this thread has run, so that other load on the machine does not count.
long long threadTime();

/// 0 for none. Reorders its argument, as frames::percentile does.
double median(std::vector<double>& values);

enum class Aim { atMost, atLeast };

/// One line of a result: what was measured, our value and the limit's, their ratio and the aim.
struct Result {
    std::string name;
    std::string unit;
    double ours;
    double limit;
    double aim;  // required ratio
    Aim kind = Aim::atMost;
};

/// Prints results as a table.
///
/// @param peer  What ours is compared with.
/// @return false when a ratio misses its aim.
bool report(const std::string& title, const std::vector<Result>& results, const char* peer = "bare limit");

}  // namespace bench
