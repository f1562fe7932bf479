#include "PluginBase.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <utility>

namespace NUV {

PluginBase::PluginBase(HMODULE module) : _module(module), _moduleFolder{}, _devicesPending(true), _cursor(0) {
    if (GetModuleFileNameA(module, _moduleFolder, sizeof _moduleFolder) == 0) return;
    _moduleFolder[sizeof _moduleFolder - 1] = '\0';  // a name that did not fit may lack its terminator
    // kept on purpose: docs/oddities.md, module-folder
    if (char* separator = std::strrchr(_moduleFolder, '\\')) separator[1] = '\0';
}

PluginBase::~PluginBase() {
    for (auto& owned : _devices) owned.reset();
}

std::int32_t PluginBase::enumerate(PluginDeviceRecord* record) {
    if (!record) return 0;
    if (_devicesPending) {
        createDevices(_module, _moduleFolder);
        _devicesPending = false;
    }
    if (_cursor >= static_cast<std::int32_t>(_devices.size())) return 0;

    PluginDeviceBase& current = *_devices[static_cast<std::size_t>(_cursor)];
    std::uint32_t kind = 0;
    if (!current.nextInterfaceKind(&kind)) {
        ++_cursor;
        return 0;
    }
    record->deviceId = current.deviceId();
    record->interfaceKind = kind;
    record->typeCode = current.deviceTypeCode();
    record->number = current.deviceNumber();
    std::fill(std::begin(record->label), std::end(record->label), L'\0');
    std::wcsncpy(record->label, current.deviceLabel(), PluginDeviceBase::kLabelLength);
    return 1;
}

void PluginBase::createDevices(HMODULE, const char*) {}

void PluginBase::addDevice(std::unique_ptr<PluginDeviceBase> device) {
    if (device) _devices.push_back(std::move(device));
}

}  // namespace NUV
