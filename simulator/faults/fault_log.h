// Log of what was deliberately done to the images, as JSON lines, so that a host's findings can be matched one to one.
// docs/faults.md describes the lines.
#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "frame_range.h"
#include "image_view.h"

namespace simulator {

using frames::FrameRange;

/// Turns frame numbers, in order of arrival, into ranges of neighbours; the same number twice in a row counts once.
std::vector<FrameRange> rangesOf(const std::vector<std::uint64_t>& frames);

/// What a host must find because of a fault.
struct Expectation {
    const char* finding = "";           // frames::finding
    std::uint64_t first = 0;            // frames
    std::optional<std::uint64_t> last;  // none: all following ones
    std::optional<std::int64_t> minUs;  // least latency that they show

    bool operator==(const Expectation&) const = default;
};

/// Used by one thread. If the file accepts no more, this is reported once, and nothing more is written.
class FaultLog {
public:
    /// @param path  Replaced when it exists.   @param people  Must outlive the log.
    /// @return      null, with the reason, when the file cannot be written.
    static std::unique_ptr<FaultLog> open(const std::string& path, std::ostream& people, std::string& error);

    /// Writes the first line.
    void run(std::uint64_t seed, std::int64_t periodNs, const frames::ImageFormat& format);

    /// Logs an injected fault.
    void fault(const char* name, std::uint64_t frame, const std::vector<Expectation>& expectations);

    /// Logs frames that did not arrive for another reason. Frames of one kind that follow each other closely may share
    /// a line, which is then written with the next one.
    /// @param note  A note of fault_log_words.h.
    void note(const char* note, const FrameRange& frames);

    /// Writes the note that waits for others to share its line.
    void settle() {
        if (_held) writeHeldNote();
    }

    /// Writes the last line.
    /// @param ringDamaged  How often another process had overwritten the ring's header; written unless 0.
    void end(std::uint64_t nextFrame, std::uint64_t ringDamaged = 0);

    /// Whether all lines so far are in the file.
    bool complete() const { return _file.is_open(); }

    /// "FILE: could not be written to its end"
    std::string problem() const { return _path + ": could not be written to its end"; }

private:
    explicit FaultLog(std::string path, std::ostream& people) : _path(std::move(path)), _people(people) {}
    void writeHeldNote();
    void writeLine(const std::string& line);

    struct Note {
        const char* name;
        FrameRange frames;
        std::int64_t timeNs;
    };

    std::string _path;
    std::ostream& _people;
    std::ofstream _file;
    std::optional<Note> _held;  // may still grow
};

}  // namespace simulator
