// What a simulator injected on purpose, read from the log that it writes with --fault-log.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "findings.h"

namespace host {

/// What a host has to find because of a fault.
struct Expectation {
    FindingKind kind = FindingKind::lost;
    FrameRange frames;  // stopped: from first on, and last is 2^64 - 1
    double minUs = 0;   // late: least latency that the frame shows
};

struct InjectedFault {
    std::uint64_t line = 0;  // of the log
    std::string name;        // letters, digits, '-' and '_'
    std::uint64_t frame = 0;
    std::vector<Expectation> expect;  // empty: nothing that images show
};

/// What happened without having been injected.
struct SimulatorNote {
    /// refused: the ring was full; skipped: too late; ring-laid, ring-damaged: waited unread when it was laid anew, or
    /// recreated after damage
    std::string name;
    FrameRange frames;
};

struct FaultLog {
    std::uint64_t seed = 0;
    std::vector<InjectedFault> faults;
    std::vector<SimulatorNote> notes;
    std::optional<std::uint64_t> nextFrame;  // of an orderly end
    std::uint64_t lines = 0;
    bool cut = false;  // the last line ends in its middle: it is being written, or never was
};

constexpr std::size_t kMaxFaultLogLine = 65'536;  // bytes
constexpr std::uint64_t kMaxFaultLogMegabytes = 1024;

/// Reads a log, which may still be growing.
///
/// @param path       For messages.
/// @param log        Set on success alone.
/// @param megabytes  A longer log (of 2^20 bytes each) is refused.
/// @return           false, with file, line and reason, when it is no such log.
bool readFaultLog(std::istream& stream, const std::string& path, FaultLog& log, std::string& error,
                  std::uint64_t megabytes = kMaxFaultLogMegabytes);

/// Opens and reads it.
bool readFaultLog(const std::string& path, FaultLog& log, std::string& error);

/// What a look at a log's place shows before a grab.
enum class FaultLogLook {
    readable,  // its first line is right; also a pipe, which is not looked into
    notYet,    // no file, or no whole line in it: a simulator that is started later writes it
    never      // nothing that a simulator starts makes it readable
};

/// Looks whether there can be a log at the end of a grab. @param problem  File and reason, unless it is readable.
FaultLogLook lookAtFaultLog(const std::string& path, std::string& problem);

}  // namespace host
