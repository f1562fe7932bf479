// The command "ask-snap": asks the one question that the camera's side of the link has.
#pragma once

#include <ostream>

#include "host_options.h"

namespace host {

/// Asks the simulator to take a picture, until it answers.
///
/// @param data    Receives the answer, for people or as JSON.   @param people  Receives everything else.
/// @return        Exit code: done when the request came back as it was, which is how simulators take it; failed when
///                something else came back or a camera has the link; no answer in time (3).
int askSnap(const AskSnapOptions& options, std::ostream& data, std::ostream& people);

}  // namespace host
