// The command "snap": saves one image of the camera in a file.
#pragma once

#include <ostream>

#include "PluginDeviceBase.h"
#include "host_options.h"

namespace host {

/// Opens the camera, waits for a suitable image (SnapOptions::anyImage) and saves it.
///
/// @param data    Receives what was saved: a line for people, or the object of sidecarLine.
/// @param people  Receives everything else.
/// @return        Exit code: done when the file is complete; no image in time (3), which a stop request is as well.
int snap(NUV::PluginDeviceBase& device, const SnapOptions& options, std::ostream& data, std::ostream& people);

}  // namespace host
