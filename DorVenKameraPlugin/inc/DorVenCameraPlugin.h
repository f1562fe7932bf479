// This plugin's plugin object: offers one device, the simulated camera.
#pragma once

#include "PluginBase.h"

namespace NUV {

class DorVenCameraPlugin : public PluginBase {
public:
    using PluginBase::PluginBase;

    void createDevices(HMODULE module, const char* moduleFolder) override;
};

}  // namespace NUV
