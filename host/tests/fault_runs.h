// Host and simulator as processes that prove a fault: what the host found in the images against what the simulator's
// log says, compared here, without the host's own comparison.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "programs_fixture.h"

namespace test {

/// "lost 7": what was found, or has to be, at which frame.
using FrameFindings = std::set<std::string>;

/// Each frame from first to last, both included.
void addFindings(FrameFindings& findings, const std::string& finding, std::uint64_t first, std::uint64_t last);

/// What both programs left behind.
struct FaultRun {
    int exitCode = -1;                // the host's
    nlohmann::json verify;            // what it printed
    std::vector<nlohmann::json> log;  // the simulator's, line by line

    /// Lines of the log about a fault, in order.
    std::vector<nlohmann::json> faults(const std::string& name) const;
    /// Names of all faults in the log.
    std::set<std::string> names() const;
    /// Frames at which a fault struck, before a frame.
    std::vector<std::uint64_t> strikesBefore(const std::string& name, std::uint64_t end) const;
};

class FaultRunsTest : public ProgramsTest {
protected:
    /// Starts the host's verify and waits until it has the camera open: it then sees every frame from the first one on.
    ChildProcess startVerify(Arguments arguments);

    /// A simulator; at 100 images per second unless told, with a ring that keeps a busy machine from losing one.
    ChildProcess startFaults(Arguments arguments) const;

    /// The whole run: the host until it ends, then the simulator.
    FaultRun run(const Arguments& simulatorsOptions, const Arguments& hostsOptions);

    /// What host and simulator left; after both have ended.
    FaultRun takeRun(int exitCode) const;

    /// Whole lines of the log so far.
    std::vector<nlohmann::json> logLines() const;
    /// Waits until the log tells of that many faults with a name. @return false when that takes a minute.
    bool waitForFaults(const std::string& name, std::size_t count) const;

    /// Requires that what the host found is what the log says, frame by frame, and that verify says so too.
    void expectProven(const FaultRun& run) const;

    std::string _log = _folder.path("faults.jsonl");
};

/// How long a host waits for a further image, as its option takes it: long where a busy machine may be slow to begin,
/// and not where the end of the images is to be seen.
/// @param images  Its --count; "0": to the end.
inline const char* silenceLimit(const std::string& images) { return images == "0" ? "8" : "60"; }

/// What the host found, but for lateness, in frames that have neighbours on both sides.
/// @param from  Leaves out frames before.
FrameFindings foundIn(const FaultRun& run, std::uint64_t from = 0);
/// Frames that the log's notes say were not delivered, for a reason of the machine's own.
FrameFindings notedIn(const FaultRun& run);
/// The same, as the log wants it; with frames that its notes say were not delivered.
FrameFindings expectedIn(const FaultRun& run);
/// Late frames of the log that the host did not find so late.
FrameFindings lateButNotFound(const FaultRun& run);

}  // namespace test
