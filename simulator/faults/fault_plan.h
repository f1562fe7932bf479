// Which faults strike at which frame. The same faults, seed and rate give the same result for the same frame, whatever
// was requested before.
#pragma once

#include <cstdint>
#include <vector>

#include "fault_request.h"
#include "pacing_grid.h"

namespace simulator {

/// One fault at one frame.
struct Strike {
    FaultKind kind = FaultKind::drop;
    std::int64_t timeNs = 0;  // of the fault; of jitter: the shift of this frame; 0: not given

    bool operator==(const Strike&) const = default;
};

class FaultPlan {
public:
    /// @param requests  In the order in which they were given: if one kind strikes twice at a frame, the first counts.
    FaultPlan(std::vector<FaultRequest> requests, std::uint64_t seed, const FrameRate& rate);

    /// The faults that strike at the frame, at most one of a kind, in the order in which they take effect.
    std::vector<Strike> strikesAt(std::uint64_t frame) const;

    /// Whether a fault of that kind may ever strike.
    bool has(FaultKind kind) const;

    const std::vector<FaultRequest>& requests() const { return _requests; }

private:
    bool strikes(const FaultRequest& request, std::uint64_t draw, std::uint64_t frame) const;

    std::vector<FaultRequest> _requests;
    std::uint64_t _seed;
    PacingGrid _grid;
};

/// A number that looks random and depends only on its arguments.
std::uint64_t scatter(std::uint64_t seed, std::uint64_t stream, std::uint64_t index);

}  // namespace simulator
