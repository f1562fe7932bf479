// A camera as this host uses it: claimed, opened, grabbing, and stopped again however its user ends.
#pragma once

#include <cstdint>
#include <string>

#include "PluginDeviceBase.h"
#include "camera_claim.h"

namespace host {

/// Uses one device through its commands only. One thread; the callback runs on the plugin's.
///
/// Operations return false, with the reason, when the camera refuses a command: "the camera did not open the camera:
/// command 1001 answered (-4, 0)".
class CameraSession {
public:
    /// @param device  Must outlive the session.
    explicit CameraSession(NUV::PluginDeviceBase& device) : _device(device) {}

    /// Stops grabbing, so that the camera does not call a destroyed object.
    ~CameraSession();
    CameraSession(const CameraSession&) = delete;
    CameraSession& operator=(const CameraSession&) = delete;

    /// Holds the camera, which only one host may have at a time, as long as the session exists. Call it before open.
    /// @param share  Another host may have it as well.
    bool claim(bool share, std::string& error);

    /// @param configFile  Empty: the camera's defaults.
    bool open(const std::string& configFile, std::string& error);

    /// The camera's record of its images. Call it after open. @return null, with the reason, also when there is no
    /// record.
    const NUV::IMAGEMEMORY* imageMemory(std::string& error);

    /// @param framesPerSecond  Rate of the images that the camera fakes without a simulator. Set only on success.
    bool frameRate(double& framesPerSecond, std::string& error);

    /// From now on each image is passed to a callback. Call it after open, not while grabbing.
    /// @param callback  Its context must outlive the session, or the next stop.
    bool start(const NUV::PluginInterfaceCallbackData& callback, std::string& error);

    /// After it has returned, no callback runs any more, whatever it returns. Does nothing when not grabbing.
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
