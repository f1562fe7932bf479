// The command "grab", and its parts that verify uses as well.
#pragma once

#include <ostream>

#include "grab.h"
#include "grab_report.h"

namespace host {

struct GrabRun {
    int exitCode;  // of Grab::run
    GrabReport report;
    ImageSaver::Outcome saved;
};

/// Grabs, with a live line where standard error is a terminal and the lines of --json-lines on data.
GrabRun runGrab(NUV::PluginDeviceBase& device, const GrabOptions& options, const GrabFindings& findings,
                std::ostream& data, std::ostream& people);

/// Prints the table on data, unless there is none (hasTable) or the options ask for JSON, and tells people what is
/// wrong.
/// @param findings  Whether frames with findings are listed behind the table.
void tellGrab(const GrabRun& run, const GrabOptions& options, bool findings, std::ostream& data, std::ostream& people);

/// The command.
///
/// @param data    Receives the answer: table or JSON.   @param people  Receives everything else.
/// @return        Exit code: that of the grab; failed when a limit is broken.
int grabCommand(NUV::PluginDeviceBase& device, const GrabOptions& options, std::ostream& data, std::ostream& people);

}  // namespace host
