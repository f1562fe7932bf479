// Host and simulator as processes that prove a fault: compares the host's findings with the simulator's log, without
// the host's own comparison.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "programs_fixture.h"

namespace test {

/// "lost 7": a finding, expected or made, at a frame.
using FrameFindings = std::set<std::string>;

/// Adds each frame from first to last, both included.
void addFindings(FrameFindings& findings, const std::string& finding, std::uint64_t first, std::uint64_t last);

/// The output of both programs.
struct FaultRun {
    int exitCode = -1;                // the host's
    nlohmann::json verify;            // its output
    std::vector<nlohmann::json> log;  // the simulator's, line by line

    /// Lines of the log about a fault, in order.
    std::vector<nlohmann::json> faults(const std::string& name) const;
    /// Names of all faults in the log.
    std::set<std::string> names() const;
    /// Frames before `end` at which a fault struck.
    std::vector<std::uint64_t> strikesBefore(const std::string& name, std::uint64_t end) const;
};

class FaultRunsTest : public ProgramsTest {
protected:
    /// Starts the host's verify and waits until it has the camera open: it then sees every frame from the first one on.
    ChildProcess startVerify(Arguments arguments);

    /// Starts a simulator; by default at 100 images per second, with a ring that keeps a busy machine from losing one.
    ChildProcess startFaults(Arguments arguments) const;

    /// The whole run: the host until it ends, then the simulator.
    FaultRun run(const Arguments& simulatorsOptions, const Arguments& hostsOptions);

    /// The output of host and simulator, after both have ended.
    FaultRun takeRun(int exitCode) const;

    /// Whole lines of the log so far.
    std::vector<nlohmann::json> logLines() const;
    /// Waits until the log contains that many faults with a name. @return false when that takes a minute.
    bool waitForFaults(const std::string& name, std::size_t count) const;

    /// Requires that the host's findings match the log, frame by frame, and that verify says so too.
    void expectProven(const FaultRun& run) const;

    std::string _log = _folder.path("faults.jsonl");
};

/// How long a host waits for a further image, as a value of its option: long if a busy machine may start slowly, short
/// if the end of the images is to be noticed.
/// @param images  Its --count; "0": to the end.
inline const char* silenceLimit(const std::string& images) { return images == "0" ? "8" : "60"; }

/// The host's findings except lateness, in frames that have neighbours on both sides.
/// @param from  Omits earlier frames.
FrameFindings foundIn(const FaultRun& run, std::uint64_t from = 0);
/// Frames that were not delivered for a reason of the machine's own, according to the log's notes.
FrameFindings notedIn(const FaultRun& run);
/// The same findings as expected by the log, including frames that were not delivered according to its notes.
FrameFindings expectedIn(const FaultRun& run);
/// Late frames of the log that the host did not find late enough.
FrameFindings lateButNotFound(const FaultRun& run);

}  // namespace test
