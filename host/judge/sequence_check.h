// Finds lost, repeated and reordered frames from their numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "frame_range.h"

namespace host {

using frames::FrameRange;

/// How a frame's number relates to those before it.
enum class Follows {
    first,      // nothing came before it
    anew,       // the first after the simulator restarted
    ahead,      // it is the greatest so far, with or without a gap before it
    repeated,   // its number was received before
    reordered,  // a greater number was received before, its own was not
};

/// Checks the frame numbers of one grab in the order of their arrival, in bounded memory.
class SequenceCheck {
public:
    /// Adds the next frame. The first one begins a sequence, and so does the first one after the simulator restarted: a
    /// smaller number with a later time stamp, unless it is missing among the latest sixteen.
    Follows add(std::uint64_t frameNumber, std::uint64_t timeStampNs);

    /// Numbers that were left out and did not come later.
    std::uint64_t lost() const { return _lost; }
    /// Frames whose number was received before.
    std::uint64_t repeated() const { return _repeated; }
    /// Frames that came after one with a greater number.
    std::uint64_t reordered() const { return _reordered; }

    /// Ranges of lost numbers, first to last, since the simulator restarted: the latest hundred thousand. A late frame
    /// from an older range counts as repeated and its number as lost.
    const std::map<std::uint64_t, std::uint64_t>& missing() const { return _missing; }

    /// Ranges before those, in the order in which they were lost: the first hundred thousand.
    const std::vector<FrameRange>& settled() const { return _settled; }
    /// Number of ranges, and of their frames, that are in neither of the two.
    std::uint64_t omittedRanges() const { return _omittedRanges; }
    std::uint64_t omittedFrames() const { return _omittedFrames; }

private:
    void beginSequence(std::uint64_t frameNumber);
    bool isMissing(std::uint64_t frameNumber) const;
    Follows addLate(std::uint64_t frameNumber);
    void settle(const FrameRange& range);

    std::optional<std::uint64_t> _greatest;  // number in the present sequence
    std::uint64_t _first = 0;
    std::uint64_t _latestTimeStampNs = 0;
    std::map<std::uint64_t, std::uint64_t> _missing;
    std::vector<FrameRange> _settled;
    std::uint64_t _omittedRanges = 0;
    std::uint64_t _omittedFrames = 0;
    std::uint64_t _lost = 0;
    std::uint64_t _repeated = 0;
    std::uint64_t _reordered = 0;
};

}  // namespace host
