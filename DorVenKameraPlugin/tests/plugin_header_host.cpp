// A host that links nothing of the plugin's side: it has only the headers of host_interface/ and the library's path.
// Exit code 0: every step gave the expected result; otherwise the number of the step.
#include <cstring>

#include "PluginBase.h"

using namespace NUV;

namespace {

int images(void*, IMAGEMEMORY*) { return 0; }

int drive(PluginInterface* plugin) {
    PluginDeviceRecord record{};
    for (const std::uint32_t kind : {1u, 2u, 3u}) {
        if (plugin->enumerate(&record) != 1 || record.interfaceKind != kind) return 4;
    }
    if (plugin->enumerate(&record) != 0) return 5;
    auto* base = static_cast<PluginBase*>(plugin);
    if (base->deviceCount() != 1 || base->device(1)) return 6;
    PluginDeviceBase* device = base->device(0);

    if (device->call(1502, nullptr, nullptr) != kNotSupported) return 7;
    PluginInterfaceReturn<const char*> document({9, 9}, nullptr);
    if (device->call(1012, nullptr, &document) != kDone || !std::strstr(document.value, "DorVenCam")) return 8;
    PluginInterfaceReturn<tagBITMAPINFO> bitmap({9, 9}, {});
    PluginInterfaceParameter<const char*> path("");
    if (device->call(1001, &path, &bitmap) != kDone || bitmap.value.bmiHeader.biWidth != 1280) return 9;
    PluginInterfaceReturn<double> rate({9, 9}, 0.0);
    if (device->call(1107, nullptr, &rate) != kDone || rate.value != 200.0) return 10;
    PluginInterfaceReturn<int> wrongResult({9, 9}, 3);
    if (device->call(1107, nullptr, &wrongResult) != kDone || wrongResult.value != 3) return 11;
    PluginInterfaceParameter<int> wrongParameter(1);
    if (device->call(1106, &wrongParameter, nullptr) != kWrongParameter) return 12;
    PluginInterfaceReturn<IMAGEMEMORY*> memory({9, 9}, nullptr);
    if (device->call(1011, nullptr, &memory) != kDone || memory.value->width != 1280) return 13;
    if (std::strcmp(memory.value->metaData.at(SMARTMETADATAKEY::temperature)->typeName(), "Double") != 0) return 14;
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({nullptr, &images});
    if (device->call(1005, &callback, nullptr) != kDone) return 15;
    if (device->call(1002, nullptr, nullptr) != kDone) return 16;
    if (device->call(1004, nullptr, nullptr) != kDone) return 17;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 1;
    const HMODULE module = LoadLibraryExA(argv[1], nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!module) return 2;
    using Create = std::int32_t (*)(PluginInterface**, HMODULE);
    using Release = std::int32_t (*)(PluginInterface**);
    const auto create = reinterpret_cast<Create>(reinterpret_cast<void*>(GetProcAddress(module, "CreatePlugin")));
    const auto release = reinterpret_cast<Release>(reinterpret_cast<void*>(GetProcAddress(module, "ReleasePlugin")));
    PluginInterface* plugin = nullptr;
    if (!create || !release || create(&plugin, module) != 0) return 3;
    const int step = drive(plugin);
    release(&plugin);
    return step;
}
