// Whether this host may open the camera, which is one host's at a time.
#pragma once

#include <string>

#include "named_claim.h"

namespace host {

/// Why a host that is no first one ends. ask-snap stands where a camera does, so it is named as well.
constexpr const char* kCameraIsTaken =
    "another host has the camera open, or an ask-snap has its link: end that one first";

/// The event that each opened camera holds as long as it lives, however its process ends. Held from before the camera
/// is opened, it lets one of two hosts through that begin at the same time.
class CameraClaim {
public:
    CameraClaim();

    /// Whether the camera may be opened: nobody else has the event. One that cannot be made is nobody's.
    bool take();

    /// After a take that was granted: why the system refuses the event all the same, as a sentence; "": it does not.
    std::string problem() const;

private:
    NamedClaim _claim;
};

}  // namespace host
