// Finds lost, repeated and reordered frames from their numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

namespace host {

/// Watches the frame numbers of one grab in the order of their arrival.
class SequenceCheck {
public:
    /// Takes the next frame. The first one, and the first after the simulator began anew (a smaller number with a
    /// later time stamp), begin a sequence.
    void add(std::uint64_t frameNumber, std::uint64_t timeStampNs);

    /// Numbers that were left out and did not come later.
    std::uint64_t lost() const { return _lost; }
    /// Frames whose number had come already.
    std::uint64_t repeated() const { return _repeated; }
    /// Frames that came behind one with a greater number.
    std::uint64_t reordered() const { return _reordered; }

    /// Ranges of lost numbers, first to last, since the simulator began anew.
    const std::map<std::uint64_t, std::uint64_t>& missing() const { return _missing; }

private:
    void beginSequence(std::uint64_t frameNumber);
    void addLate(std::uint64_t frameNumber);

    std::optional<std::uint64_t> _greatest;  // number in the present sequence
    std::uint64_t _first = 0;
    std::uint64_t _latestTimeStampNs = 0;
    std::map<std::uint64_t, std::uint64_t> _missing;
    std::uint64_t _lost = 0;
    std::uint64_t _repeated = 0;
    std::uint64_t _reordered = 0;
};

}  // namespace host
