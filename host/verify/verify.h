// The command "verify": whether a host found exactly what the simulator injected.
#pragma once

#include <ostream>

#include "PluginDeviceBase.h"
#include "fault_match.h"
#include "host_options.h"

namespace host {

/// Checks the simulator's fault log, grabs as the options say, then reads the log and compares. A log that does not
/// exist yet may still appear; one that can never be read ends the command before the grab. The log may still be
/// growing: if it does not explain everything yet, it is read again for up to two seconds.
///
/// @param data    Receives the JSON, also when nothing could be compared.   @param people  Receives everything else.
/// @return        Exit code: done when both match one to one and no limit is broken; also when the grab ended because
///                no image came any more, or faked ones did, and the log contains that. Otherwise failed, no image in
///                time or connection lost.
int verifyGrab(NUV::PluginDeviceBase& device, const VerifyOptions& options, std::ostream& data, std::ostream& people);

/// Compares what "grab --json" or "grab --json-lines" printed into a file (options.findingsFile), without grabbing.
/// @return  Exit code: done or failed.
int verifySaved(const VerifyOptions& options, std::ostream& data, std::ostream& people);

}  // namespace host
