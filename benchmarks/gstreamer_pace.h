// GStreamer's live test source, as the peer whose pace and processor time the simulator's stand beside.
#pragma once

#include <string>

#include "pace_record.h"

namespace bench {

/// Runs videotestsrc with 1280 x 1024 bytes an image in this process, and notes each image when the source hands it to
/// a sink that does nothing. Ends the program, with the reason, when that cannot be done.
///
/// @param pattern  Of videotestsrc.
Pace paceOfTestSource(const std::string& pattern, int framesPerSecond, double seconds);

}  // namespace bench
