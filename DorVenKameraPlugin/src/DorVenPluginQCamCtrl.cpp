// The camera control operations of the simulated camera that have an effect: the frame rate.
#include "DorVenPlugin.h"
#include "TeskImages.h"
#include "massert.h"

namespace NUV {
namespace {

const char kFile[] = "DorVenPluginQCamCtrl";

}  // namespace

// The line numbers in reports are fixed: hosts search their logs for them.

PluginCallStatus DorVenPlugin::setFrameRate(double framesPerSecond) {
    if (!M_ASSERT_AT(64, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    _teskImages->setFrameRate(framesPerSecond);
    return kDone;
}

PluginCallStatus DorVenPlugin::frameRate(double* framesPerSecond) {
    if (!M_ASSERT_AT(72, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    *framesPerSecond = _teskImages->frameRate();
    return kDone;
}

}  // namespace NUV
