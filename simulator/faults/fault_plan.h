// Which faults strike at which frame. The same faults, seed and rate give the same answer for the same frame, whatever
// was asked before.
#pragma once

#include <cstdint>
#include <vector>

#include "fault_spec.h"
#include "pacing_grid.h"

namespace simulator {

/// One fault at one frame.
struct Strike {
    FaultKind kind = FaultKind::drop;
    std::int64_t timeNs = 0;  // of the fault; of jitter: the shift of this frame; 0: none was said

    bool operator==(const Strike&) const = default;
};

class FaultPlan {
public:
    /// @param specs  In the order in which they were given: where one kind strikes twice at a frame, the first counts.
    FaultPlan(std::vector<FaultSpec> specs, std::uint64_t seed, const FrameRate& rate);

    /// Those that strike at the frame, at most one of a kind, in the order in which they take effect.
    std::vector<Strike> strikesAt(std::uint64_t frame) const;

    /// Whether one of the kind may ever strike.
    bool has(FaultKind kind) const;

    const std::vector<FaultSpec>& specs() const { return _specs; }

private:
    bool strikes(const FaultSpec& spec, std::uint64_t draw, std::uint64_t frame) const;

    std::vector<FaultSpec> _specs;
    std::uint64_t _seed;
    PacingGrid _grid;
};

/// A number that looks random and depends on nothing but its arguments.
std::uint64_t scatter(std::uint64_t seed, std::uint64_t stream, std::uint64_t index);

}  // namespace simulator
