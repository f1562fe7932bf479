// The command "grab", and its parts that verify uses as well.
#pragma once

#include <ostream>

#include "grab.h"
#include "grab_report.h"

namespace host {

struct GrabRun {
    int exitCode;  // of Grab::run
    GrabReport report;
};

/// Grabs, with a live line where standard error is a terminal and the lines of --json-lines on data, and tells people
/// what came of it.
GrabRun runGrab(NUV::PluginDeviceBase& device, const GrabOptions& options, const GrabFindings& findings,
                std::ostream& data, std::ostream& people);

/// The command.
///
/// @param data    Receives the JSON.   @param people  Receives everything else.
/// @return        Exit code: that of the grab; failed when a limit is broken.
int grabCommand(NUV::PluginDeviceBase& device, const GrabOptions& options, std::ostream& data, std::ostream& people);

}  // namespace host
