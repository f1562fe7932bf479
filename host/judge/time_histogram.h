// Distribution of any number of times in bounded memory.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace host {

/// Counts times in classes: exact below 8 us, above that 4096 classes per doubling, so that its results are at most
/// 1/4096 (0.025 %) too great. Memory depends on the doublings that occur: 32 kB each, 2 MB at most. Used by one
/// thread.
class TimeHistogram {
public:
    /// @param nanoseconds  Negative values count as 0, those beyond 2^62 as 2^62.
    void add(std::int64_t nanoseconds);

    /// Discards all times but keeps the memory.
    void clear();

    std::uint64_t count() const { return _count; }

    /// Smallest time that at least that share of all times does not exceed; between the least and the greatest of all.
    /// @param share  0 … 1.   @return Microseconds; none when there are no times.
    std::optional<double> percentileUs(double share) const;

    /// Smallest distance from the median within which at least that share of all times lies.
    /// @param share  0 … 1.   @return Microseconds; none when there are no times.
    std::optional<double> spreadUs(double share) const;

    /// Greatest time, exact. @return Microseconds; none when there are no times.
    std::optional<double> maxUs() const;

private:
    std::uint64_t valueAt(std::size_t octave, std::size_t slot) const;
    std::uint64_t percentileNs(double share) const;
    template <typename Visit>
    void visit(Visit&& visit) const;

    std::vector<std::vector<std::uint64_t>> _octaves;  // counts; empty while there are no times
    std::uint64_t _count = 0;
    std::uint64_t _leastNs = 0;
    std::uint64_t _greatestNs = 0;
};

}  // namespace host
