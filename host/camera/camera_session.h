// A camera as this host drives it: claimed, opened, grabbing, and at rest again however its user ends.
#pragma once

#include <cstdint>
#include <string>

#include "PluginDeviceBase.h"
#include "camera_claim.h"

namespace host {

/// Drives one device through its commands alone. One thread; the callback comes on the plugin's.
///
/// Operations answer false, with the reason, when the camera refuses a command: "the camera did not open the camera:
/// command 1001 answered (-4, 0)".
class CameraSession {
public:
    /// @param device  Outlives the session.
    explicit CameraSession(NUV::PluginDeviceBase& device) : _device(device) {}

    /// Stops grabbing, so that the camera calls nobody who is gone.
    ~CameraSession();
    CameraSession(const CameraSession&) = delete;
    CameraSession& operator=(const CameraSession&) = delete;

    /// Holds the camera, which is one host's at a time, for as long as the session lives. Before open.
    /// @param share  Another host may have it as well.
    bool claim(bool share, std::string& error);

    /// @param configFile  Empty: the camera's defaults.
    bool open(const std::string& configFile, std::string& error);

    /// The camera's record of its images. After open. @return  null, with the reason, also when it has none.
    const NUV::IMAGEMEMORY* imageMemory(std::string& error);

    /// @param framesPerSecond  Of the images that the camera fakes without a simulator. Set on success alone.
    bool frameRate(double& framesPerSecond, std::string& error);

    /// Has each image handed to a callback, from now on. After open; not while grabbing.
    /// @param callback  Its context outlives the session, or stop.
    bool start(const NUV::PluginInterfaceCallbackData& callback, std::string& error);

    /// No callback runs any more once it returns, whatever it answers. Nothing when not grabbing.
    bool stop(std::string& error);

private:
    bool command(std::int32_t id, const char* purpose, const NUV::PluginInterfaceParameterBase* parameter,
                 NUV::PluginInterfaceReturnBase* result, std::string& error);
    bool command(std::int32_t id, const char* purpose, std::string& error);

    NUV::PluginDeviceBase& _device;
    CameraClaim _claim;
    bool _grabbing = false;
};

}  // namespace host
