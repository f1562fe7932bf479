// Whether this host may open the camera. Only one host may at a time.
#pragma once

#include <string>

#include "named_claim.h"

namespace host {

/// Why a second host ends. ask-snap takes the place of a camera, so it is named as well.
constexpr const char* kCameraIsTaken =
    "another host has the camera open, or an ask-snap has its link: end that one first";

/// The event that each open camera holds as long as it exists, however its process ends. This host holds it before it
/// opens the camera, so that only one of two hosts that start together gets through.
class CameraClaim {
public:
    CameraClaim();

    /// Whether the camera may be opened: nobody else holds the event. If the event cannot be created, nobody holds it.
    bool take();

    /// After a successful take: why the system refuses the event, as a sentence; "": it does not.
    std::string problem() const;

private:
    NamedClaim _claim;
};

}  // namespace host
