// GStreamer's live test source, the peer for the simulator's pace and processor time.
#pragma once

#include <string>

#include "pace_record.h"

namespace bench {

/// Runs videotestsrc with 1280 x 1024 bytes per image in this process, and notes each image when the source passes it
/// to a sink that does nothing. If that fails, ends the program with the reason.
///
/// @param pattern  Pattern of videotestsrc.
Pace paceOfTestSource(const std::string& pattern, int framesPerSecond, double seconds);

}  // namespace bench
