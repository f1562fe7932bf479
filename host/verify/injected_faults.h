// What a simulator injected on purpose, read from the log that it writes with --fault-log.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "findings.h"

namespace host {

/// What a host must find because of a fault.
struct Expectation {
    FindingKind kind = FindingKind::lost;
    FrameRange frames;  // stopped: from first on, and last is 2^64 - 1
    double minUs = 0;   // late: smallest latency of the frame
};

struct InjectedFault {
    std::uint64_t line = 0;  // of the log
    std::string name;        // letters, digits, '-' and '_'
    std::uint64_t frame = 0;
    std::vector<Expectation> expect;  // empty: nothing that images show
};

/// Something that happened without being injected.
struct SimulatorNote {
    /// refused: the ring was full; skipped: too late; ring-laid, ring-damaged: waited unread when the ring was
    /// recreated, or recreated after damage
    std::string name;
    FrameRange frames;
};

struct FaultLog {
    std::uint64_t seed = 0;
    std::vector<InjectedFault> faults;
    std::vector<SimulatorNote> notes;
    std::optional<std::uint64_t> nextFrame;  // of an orderly end
    std::uint64_t lines = 0;
    bool cut = false;  // the last line is incomplete: still being written, or abandoned
};

constexpr std::size_t kMaxFaultLogLine = 65'536;  // bytes
constexpr std::uint64_t kMaxFaultLogMegabytes = 1024;

/// Reads a log, which may still be growing.
///
/// @param path       For messages.
/// @param log        Set only on success.
/// @param megabytes  A longer log (in units of 2^20 bytes) is refused.
/// @return           false, with file, line and reason, when it is no such log.
bool readFaultLog(std::istream& stream, const std::string& path, FaultLog& log, std::string& error,
                  std::uint64_t megabytes = kMaxFaultLogMegabytes);

/// Opens and reads it.
bool readFaultLog(const std::string& path, FaultLog& log, std::string& error);

/// What a check of a log's place shows before a grab.
enum class FaultLogLook {
    readable,  // its first line is correct; also a pipe, which is not read
    notYet,    // no file, or no whole line in it: a simulator that is started later writes it
    never      // no simulator that is started later can make it readable
};

/// Checks whether there can be a log at the end of a grab. @param problem  File and reason, unless it is readable.
FaultLogLook lookAtFaultLog(const std::string& path, std::string& problem);

}  // namespace host
