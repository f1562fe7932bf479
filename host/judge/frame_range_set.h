// Sets of frame numbers, stored as ranges: memory depends on the number of gaps, not on their width.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "frame_range.h"

namespace host {

using frames::FrameRange;

/// A set: each number once.
class FrameRangeSet {
public:
    void add(const FrameRange& range);

    /// The parts of a range that are not in the set, in ascending order.
    std::vector<FrameRange> outside(const FrameRange& range) const;

    /// Whether the whole range is in the set.
    bool covers(const FrameRange& range) const { return outside(range).empty(); }

private:
    std::map<std::uint64_t, std::uint64_t> _ranges;  // first to last, without overlap
};

/// A bag: it can contain a number several times, once for each range that has it.
class FrameRangeBag {
public:
    void add(const FrameRange& range) { _ranges.emplace(range.first, range.last); }

    /// Removes each number of a range once.
    /// @return The parts of the range that were not there, in ascending order.
    std::vector<FrameRange> take(const FrameRange& range);

    /// The remaining numbers, in ascending order.
    std::vector<FrameRange> ranges() const;

private:
    std::multimap<std::uint64_t, std::uint64_t> _ranges;
};

}  // namespace host
