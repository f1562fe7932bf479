// Makes a compiler emit the tables of every class that a host or a debugger uses. Only compiled, with the headers of
// stubs/ instead of the standard ones; vtables.py reads the output.
#include "../call_object_types.h"
#include "../host_layout.h"
#include "DorVenCameraPlugin.h"
#include "DorVenPlugin.h"
#include "PluginBase.h"
#include "TeskImages.h"

namespace NUV {

PluginBase::PluginBase(HMODULE) {}
PluginBase::~PluginBase() {}

PluginDeviceBase::PluginDeviceBase(const std::string&) {}
PluginDeviceBase::~PluginDeviceBase() {}

DorVenPlugin::DorVenPlugin(const std::string& moduleFolder) : PluginDeviceBase(moduleFolder) {}
DorVenPlugin::~DorVenPlugin() {}

void DorVenCameraPlugin::createDevices(HMODULE, const char*) {}
void construct(HMODULE module) { const DorVenCameraPlugin plugin(module); }

}  // namespace NUV

namespace kest::dorven {

TeskImages::TeskImages() {}
TeskImages::~TeskImages() {}

}  // namespace kest::dorven
