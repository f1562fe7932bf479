// The smallest complete host: loads the plugin, opens its camera, receives images, ends.
//
//   example-host [IMAGES [PLUGIN]]     default: 100 images, with the plugin that it was built for
//
// Exit code 0: all images came; otherwise 1, with the reason on standard error.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include "PluginBase.h"
#include "platform.h"

namespace {

using CreatePlugin = std::int32_t (*)(PluginInterface**, HMODULE);
using ReleasePlugin = std::int32_t (*)(PluginInterface**);

constexpr std::int32_t kOpen = 1001;
constexpr std::int32_t kGrab = 1002;
constexpr std::int32_t kFreeze = 1004;
constexpr std::int32_t kSetCallback = 1005;
constexpr auto kLongestWait = std::chrono::seconds(60);

std::atomic<int> imageCount{0};

// Runs on a thread of the camera; the record's pixels are valid until it returns.
int onImage(void*, NUV::IMAGEMEMORY* record) {
    if (++imageCount == 1) std::cout << "first image: " << record->width << " x " << record->height << std::endl;
    return 0;
}

bool receive(NUV::PluginDeviceBase& camera, int wanted) {
    NUV::PluginInterfaceParameter<const char*> noFile(nullptr);
    NUV::PluginInterfaceReturn<tagBITMAPINFO> bitmap({0, 0}, {});
    if (camera.call(kOpen, &noFile, &bitmap) != NUV::kDone) return false;
    NUV::PluginInterfaceParameter<NUV::PluginInterfaceCallbackData> callback({nullptr, &onImage});
    if (camera.call(kSetCallback, &callback, nullptr) != NUV::kDone) return false;
    if (camera.call(kGrab, nullptr, nullptr) != NUV::kDone) return false;
    std::cout << "waiting for " << wanted << " images" << std::endl;
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (imageCount < wanted && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return camera.call(kFreeze, nullptr, nullptr) == NUV::kDone && imageCount >= wanted;
}

template <typename Function>
Function exported(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

int failed(const std::string& reason) {
    std::cerr << "example-host: " << reason << std::endl;
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    const int wanted = argc > 1 ? std::atoi(argv[1]) : 100;
    const char* const path = argc > 2 ? argv[2] : PLUGIN;
    const HMODULE module = LoadLibraryExA(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!module) return failed(std::string(path) + ": cannot be loaded");
    const auto create = exported<CreatePlugin>(module, "CreatePlugin");
    const auto release = exported<ReleasePlugin>(module, "ReleasePlugin");
    PluginInterface* plugin = nullptr;
    if (!create || !release || create(&plugin, module) != 0) return failed(std::string(path) + ": is no camera plugin");

    PluginDeviceRecord record{};
    while (plugin->enumerate(&record) == 1) std::cout << "device of kind " << record.interfaceKind << std::endl;
    const bool received = receive(*static_cast<NUV::PluginBase*>(plugin)->device(0), wanted);
    release(&plugin);
    FreeLibrary(module);
    std::cout << imageCount << " images" << std::endl;
    return received ? 0 : failed("not all images came");
}
