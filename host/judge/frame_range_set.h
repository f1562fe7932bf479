// Sets of frame numbers, kept as ranges: as many as there are gaps, however wide they are.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "frame_range.h"

namespace host {

/// A set: each number once.
class FrameRangeSet {
public:
    void add(const FrameRange& range);

    /// What of a range is not in the set, in rising order.
    std::vector<FrameRange> outside(const FrameRange& range) const;

    /// Whether all of a range is in the set.
    bool covers(const FrameRange& range) const { return outside(range).empty(); }

private:
    std::map<std::uint64_t, std::uint64_t> _ranges;  // first to last, without overlap
};

/// A bag: a number may be in it several times, since several ranges have it.
class FrameRangeBag {
public:
    void add(const FrameRange& range) { _ranges.emplace(range.first, range.last); }

    /// Takes each number of a range out once.
    /// @return What of the range was not there, in rising order.
    std::vector<FrameRange> take(const FrameRange& range);

    /// What is left, in rising order.
    std::vector<FrameRange> ranges() const;

private:
    std::multimap<std::uint64_t, std::uint64_t> _ranges;
};

}  // namespace host
