// Place of the measuring target in each frame, written as JSON lines for checking a measurement:
//
//   {"schema":"dorven-truth/1","pattern":"circle","width_px":1280,…}   what was drawn; again when the format changes
//   {"frame":0,"x_px":639.5,"y_px":519.0,…}              one line per frame that was made, in whole and at once
//
// A frame that the full ring refused was not made and has no line. The number links a line with the frame's strip,
// which contains the time stamp.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "image_view.h"
#include "pattern.h"

namespace simulator {

/// Used by one thread.
class TruthLog {
public:
    /// Creates the file, or empties it. @return null, with its name and the reason, on failure.
    static std::shared_ptr<TruthLog> open(const std::string& path, std::string& error);

    /// @param path  For messages.
    TruthLog(std::unique_ptr<std::ostream> stream, std::string path);

    /// Describes how the following frames are drawn.
    void begin(const frames::PatternRow& pattern, const frames::ImageFormat& format,
               const frames::PatternSettings& how);

    void frame(std::uint64_t frameNumber, const std::vector<frames::TrueValue>& truth);

    /// Whether all lines so far are in the file; after the first failure, no line is written any more.
    bool complete() const { return _stream->good(); }

    /// "FILE: could not be written to its end"
    std::string problem() const { return _path + ": could not be written to its end"; }

private:
    std::unique_ptr<std::ostream> _stream;
    std::string _path;
};

}  // namespace simulator
