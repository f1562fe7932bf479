// Matches what a simulator injected with what a host found, one to one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "findings.h"
#include "injected_faults.h"

namespace host {

/// What a grab knows of its images.
struct GrabEvidence {
    std::vector<Finding> findings;
    std::optional<FrameRange> sight;     // smallest and greatest frame number since the grab began
    std::optional<double> lateFromUs;    // least latency of a finding "late"; none: there is none
    bool judgesLateness = false;         // lateness that was not injected is a fault too
    std::optional<double> judgedFromUs;  // then: from this latency on; none: from lateFromUs on
};

/// A part of an expectation that was not found.
struct MissedFault {
    const InjectedFault* fault;  // of the log that was matched
    FindingKind kind;
    FrameRange frames;
    double minUs = 0;  // late
};

/// A part of a finding that was not injected.
struct UninjectedFinding {
    Finding finding;
    std::string because;  // name of the simulator's note that explains it; empty: none does
};

struct FaultMatch {
    std::uint64_t injected = 0;  // faults in the log: found + missed + outOfSight + invisible
    std::uint64_t found = 0;
    std::uint64_t missed = 0;      // in whole or in part
    std::uint64_t outOfSight = 0;  // the host was not there
    std::uint64_t invisible = 0;   // nothing that images show
    std::vector<MissedFault> missing;
    std::vector<UninjectedFinding> uninjected;
    std::uint64_t findingsOutOfSight = 0;  // of images from before the grab
    bool stopFound = false;                // the images stopped, and the log says so too

    std::uint64_t explained() const;

    /// @param explainedToo  Findings that a note explains count as injected.
    bool oneToOne(bool explainedToo) const {
        return missed == 0 && (explainedToo ? explained() : 0) == uninjected.size();
    }
};

/// How the edges are treated. A host sees the frames from the smallest to the greatest number that it received since
/// the grab began. Out of its sight are:
///   - what was injected into frames outside that range; lost frames have to lie between two that came;
///   - what needs the frame before, at the first one: counter, time_back;
///   - what needs a later one, at the last one: repeated; and reordered at the one before the last;
///   - frames that another fault or the simulator's notes say were not delivered, but as lost ones;
///   - lateness below what the grab was asked to find, and that of reordered and time_back frames;
///   - stopped, when the grab ended before;
///   - findings in images from before the grab.
/// An orderly end of the simulator is a stop that was announced.
FaultMatch matchFaults(const FaultLog& log, const GrabEvidence& evidence);

}  // namespace host
