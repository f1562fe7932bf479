#include "DorVenCameraPlugin.h"

#include <memory>

#include "DorVenPlugin.h"

namespace NUV {

void DorVenCameraPlugin::createDevices(HMODULE, const char* moduleFolder) {
    addDevice(std::make_unique<DorVenPlugin>(moduleFolder));
}

}  // namespace NUV
