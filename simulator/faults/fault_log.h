// What was done to the images on purpose, as JSON lines, so that what a host found can be matched one to one.
// docs/faults.md describes the lines.
#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "image_view.h"

namespace simulator {

/// Frames first to last, both included.
struct FrameRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;

    bool operator==(const FrameRange&) const = default;
};

/// Frame numbers, in the order in which they come, as ranges of neighbours; the same number twice in a row counts once.
std::vector<FrameRange> rangesOf(const std::vector<std::uint64_t>& frames);

/// What a host must find because of a fault.
struct Expectation {
    const char* finding = "";           // "lost", "repeated", …
    std::uint64_t first = 0;            // frames
    std::optional<std::uint64_t> last;  // none: all that follow
    std::optional<std::int64_t> minUs;  // least latency that they show

    bool operator==(const Expectation&) const = default;
};

/// Used by one thread. A file that takes no more is told of once, and left alone from then on.
class FaultLog {
public:
    /// @param path  Replaced when it exists.   @param people  Outlives the log.
    /// @return      null, with the reason, when the file cannot be written.
    static std::unique_ptr<FaultLog> open(const std::string& path, std::ostream& people, std::string& error);

    /// The first line.
    void run(std::uint64_t seed, std::int64_t periodNs, const frames::ImageFormat& format);

    /// A fault that was injected.
    void fault(const char* name, std::uint64_t frame, const std::vector<Expectation>& expectations);

    /// Frames that did not arrive for another reason. Those of one kind that follow each other closely may share a
    /// line, which then comes with the next one.
    /// @param note  "refused", "skipped", "ring-laid" or "ring-damaged".
    void note(const char* note, const FrameRange& frames);

    /// Writes the note that waited for others to share its line.
    void settle() {
        if (_held) writeHeldNote();
    }

    /// The last line.
    /// @param ringDamaged  Times that another process had overwritten the ring's header; stands there when there were.
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
    std::optional<Note> _held;  // may grow yet
};

}  // namespace simulator
