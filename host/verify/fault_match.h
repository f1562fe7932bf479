// Matches what a simulator injected with what a host found, one to one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "findings.h"
#include "injected_faults.h"

namespace host {

/// What a grab knows about its images.
struct GrabEvidence {
    std::vector<Finding> findings;
    std::optional<FrameRange> sight;     // smallest and greatest frame number since the grab began
    std::optional<double> lateFromUs;    // smallest latency of a finding "late"; none: there is none
    bool judgesLateness = false;         // lateness that was not injected is also a fault
    std::optional<double> judgedFromUs;  // then: from this latency on; none: from lateFromUs on
};

/// A part of an expectation that was not found.
struct MissedFault {
    const InjectedFault* fault;  // of the log that was compared
    FindingKind kind;
    FrameRange frames;
    double minUs = 0;  // late
};

/// A part of a finding that was not injected.
struct UninjectedFinding {
    Finding finding;
    std::string because;  // name of the simulator's note that explains it; empty: none
};

struct FaultMatch {
    std::uint64_t injected = 0;  // faults in the log: found + missed + outOfSight + invisible
    std::uint64_t found = 0;
    std::uint64_t missed = 0;      // in whole or in part
    std::uint64_t outOfSight = 0;  // the host could not see them
    std::uint64_t invisible = 0;   // nothing that images show
    std::vector<MissedFault> missing;
    std::vector<UninjectedFinding> uninjected;
    std::uint64_t findingsOutOfSight = 0;  // of images from before the grab
    bool stopFound = false;                // the images stopped, and the log says so too

    std::uint64_t explained() const;

    /// @param explainedToo  Whether findings that a note explains count as injected.
    bool oneToOne(bool explainedToo) const {
        return missed == 0 && (explainedToo ? explained() : 0) == uninjected.size();
    }
};

/// Rules for the edges. A host sees the frames from the smallest to the greatest number that it received since the grab
/// began. Out of its sight are:
///   - faults in frames outside that range; lost frames must be between two received ones;
///   - faults that need the previous frame, at the first one: counter, time_back;
///   - faults that need a later frame, at the last one: repeated; also reordered at the last but one;
///   - frames that were not delivered according to another fault or the simulator's notes, except as lost ones;
///   - lateness below the latency that the grab looked for, and that of reordered and time_back frames;
///   - stopped, when the grab ended before;
///   - findings in images from before the grab.
/// An orderly end of the simulator is an announced stop.
FaultMatch matchFaults(const FaultLog& log, const GrabEvidence& evidence);

}  // namespace host
