#include "fault_plan.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

// Spreads each bit over all others (the finaliser of SplitMix64).
std::uint64_t mix(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15u;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

// From 0 to below 1, with 53 bits.
double share(std::uint64_t number) { return static_cast<double>(number >> 11) * 0x1p-53; }

}  // namespace

std::uint64_t scatter(std::uint64_t seed, std::uint64_t stream, std::uint64_t index) {
    return mix(mix(mix(seed) ^ stream) ^ index);
}

FaultPlan::FaultPlan(std::vector<FaultRequest> requests, std::uint64_t seed, const FrameRate& rate)
    : _requests(std::move(requests)), _seed(seed), _grid(0, rate) {}

std::vector<Strike> FaultPlan::strikesAt(std::uint64_t frame) const {
    std::vector<Strike> found;
    for (std::size_t index = 0; index < _requests.size(); ++index) {
        const FaultRequest& request = _requests[index];
        if (!strikes(request, scatter(_seed, 2 * index, frame), frame)) continue;
        if (std::ranges::find(found, request.kind, &Strike::kind) != found.end()) continue;
        Strike strike{request.kind, request.timeNs};
        if (request.kind == FaultKind::jitter) {
            const std::uint64_t shift =
                scatter(_seed, 2 * index + 1, frame) % (static_cast<std::uint64_t>(request.timeNs) + 1);
            strike.timeNs = static_cast<std::int64_t>(shift);
        }
        found.push_back(strike);
    }
    std::ranges::sort(found, {}, &Strike::kind);
    return found;
}

bool FaultPlan::has(FaultKind kind) const {
    return std::ranges::find(_requests, kind, &FaultRequest::kind) != _requests.end();
}

bool FaultPlan::strikes(const FaultRequest& request, std::uint64_t draw, std::uint64_t frame) const {
    const FaultWhen& when = request.when;
    if (frame < request.since) return false;
    // Jitter at one frame also applies to all following ones: a single late frame would be a delay.
    const bool goesOn = request.kind == FaultKind::jitter;
    switch (when.kind) {
        case FaultWhen::Kind::once:
            return goesOn || frame == request.since;
        case FaultWhen::Kind::at:
            return frame == when.first || (goesOn && frame > when.first);
        case FaultWhen::Kind::every:
            return frame != 0 && frame % when.first == 0;
        case FaultWhen::Kind::probability:
            return share(draw) < when.probability;
        case FaultWhen::Kind::time:
            return _grid.offsetNs(frame) >= when.timeNs &&
                   (goesOn || frame == 0 || _grid.offsetNs(frame - 1) < when.timeNs);
        case FaultWhen::Kind::from:
            return frame >= when.first;
        case FaultWhen::Kind::range:
            return frame >= when.first && frame <= when.last;
    }
    return false;
}

}  // namespace simulator
