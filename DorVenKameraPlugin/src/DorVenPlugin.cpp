#include "DorVenPlugin.h"

#include <utility>

#include "TeskImages.h"
#include "errtrace.h"

namespace NUV {
namespace {

const char kFile[] = "DorVenPlugin";

}  // namespace

// The line numbers in reports are fixed: hosts search their logs for them.

DorVenPlugin::DorVenPlugin(const std::string& moduleFolder)
    : DorVenPlugin(moduleFolder, &kest::dorven::TeskImages::createUnlinked) {}

DorVenPlugin::DorVenPlugin(const std::string& moduleFolder, SourceFactory createSource)
    : PluginDeviceBase(moduleFolder), _createSource(std::move(createSource)) {
    M_TRACE_AT(31, 4, "%s", "NUV::DorVenPlugin::DorVenPlugin");
    DorVenPlugin::setProperty(kManufacturer, "DorVen");
    DorVenPlugin::setProperty(kDeviceName, "DorVenCam");
    DorVenPlugin::setProperty(kSerialNumber, "20250313");
}

DorVenPlugin::~DorVenPlugin() {
    M_TRACE_AT(41, 4, "%s", "NUV::DorVenPlugin::~DorVenPlugin");
    letGoOfSource();
    _bitmap.reset();
}

PluginCallStatus DorVenPlugin::light1208(std::uint64_t* value) {
    *value = 1;
    return kDone;
}

}  // namespace NUV
