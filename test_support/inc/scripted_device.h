// A device whose images the test scripts, used through the same command map as the camera.
#pragma once

#include <functional>
#include <thread>

#include "PluginDeviceBase.h"

namespace test {

class ScriptedDevice : public NUV::PluginDeviceBase {
public:
    /// Runs on the device's thread between grab and freeze.
    using Script = std::function<void(ScriptedDevice& device)>;

    explicit ScriptedDevice(Script script) : PluginDeviceBase(""), _script(std::move(script)) {}
    ~ScriptedDevice() override { join(); }

    NUV::PluginCallStatus openImageDevice(const char* path, const tagBITMAPINFO**) override {
        openedPath = path ? path : "(null)";
        return openStatus;
    }
    NUV::PluginCallStatus imageMemory(NUV::IMAGEMEMORY** memory) override {
        *memory = hasMemory ? &record : nullptr;
        return NUV::kDone;
    }
    NUV::PluginCallStatus frameRate(double* rate) override {
        *rate = 200.0;
        return NUV::kDone;
    }
    NUV::PluginCallStatus setImageCallback(void* newContext, NUV::ImageCallback newFunction) override {
        context = newContext;
        function = newFunction;
        return callbackStatus;
    }
    NUV::PluginCallStatus removeImageCallback() override {
        context = nullptr;
        function = nullptr;
        ++callbacksRemoved;
        return NUV::kDone;
    }
    NUV::PluginCallStatus grab() override {
        if (grabStatus == NUV::kDone) _thread = std::thread([this] { _script(*this); });
        return grabStatus;
    }
    NUV::PluginCallStatus freeze() override {
        join();
        ++freezes;
        return NUV::kDone;
    }

    /// Passes pixels to the callback.
    int deliver(unsigned char* pixels) {
        record.imageBuffer = pixels;
        return function(context, &record);
    }

    NUV::IMAGEMEMORY record{};
    NUV::PluginCallStatus openStatus = NUV::kDone;
    NUV::PluginCallStatus callbackStatus = NUV::kDone;
    NUV::PluginCallStatus grabStatus = NUV::kDone;
    bool hasMemory = true;
    std::string openedPath;
    void* context = nullptr;
    NUV::ImageCallback function = nullptr;
    int callbacksRemoved = 0;
    int freezes = 0;

private:
    void join() {
        if (_thread.joinable()) _thread.join();
    }

    Script _script;
    std::thread _thread;
};

}  // namespace test
