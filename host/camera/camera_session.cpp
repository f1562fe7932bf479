#include "camera_session.h"

#include "camera_commands.h"

namespace host {

CameraSession::~CameraSession() {
    try {
        std::string nobodyHears;
        stop(nobodyHears);
    } catch (...) {
        // No memory for the message; the calls were made.
    }
}

bool CameraSession::claim(bool share, std::string& error) {
    if (share || _claim.take()) return true;
    error = std::string(kCameraIsTaken) + ", or insist with --share";
    return false;
}

bool CameraSession::open(const std::string& configFile, std::string& error) {
    const NUV::PluginInterfaceParameter<const char*> path(configFile.empty() ? nullptr : configFile.c_str());
    NUV::PluginInterfaceReturn<tagBITMAPINFO> bitmap(NUV::kNotSupported, {});
    return command(command_id::openImageDevice, "open the camera", &path, &bitmap, error);
}

const NUV::IMAGEMEMORY* CameraSession::imageMemory(std::string& error) {
    NUV::PluginInterfaceReturn<NUV::IMAGEMEMORY*> memory(NUV::kNotSupported, nullptr);
    if (!command(command_id::imageMemory, "give its image memory", nullptr, &memory, error)) return nullptr;
    if (!memory.value) error = "the camera has no image memory";
    return memory.value;
}

bool CameraSession::frameRate(double& framesPerSecond, std::string& error) {
    NUV::PluginInterfaceReturn<double> rate(NUV::kNotSupported, 0.0);
    if (!command(command_id::frameRate, "tell its frame rate", nullptr, &rate, error)) return false;
    framesPerSecond = rate.value;
    return true;
}

bool CameraSession::start(const NUV::PluginInterfaceCallbackData& callback, std::string& error) {
    const NUV::PluginInterfaceParameter<NUV::PluginInterfaceCallbackData> parameter(callback);
    NUV::PluginInterfaceReturnBase status(NUV::kNotSupported);
    if (!command(command_id::setImageCallback, "take the callback", &parameter, &status, error)) return false;
    _grabbing = command(command_id::grab, "start grabbing", error);
    if (!_grabbing) command(command_id::removeImageCallback, "remove the callback", error);
    return _grabbing;
}

bool CameraSession::stop(std::string& error) {
    if (!_grabbing) return true;
    _grabbing = false;
    const bool frozen = command(command_id::freeze, "stop grabbing", error);
    return command(command_id::removeImageCallback, "remove the callback", error) && frozen;
}

// A second refusal is appended to the first one.
bool CameraSession::command(std::int32_t id, const char* purpose, const NUV::PluginInterfaceParameterBase* parameter,
                            NUV::PluginInterfaceReturnBase* result, std::string& error) {
    const NUV::PluginCallStatus status = _device.call(id, parameter, result);
    if (status == NUV::kDone) return true;
    if (!error.empty()) error += "; ";
    error += std::string("the camera did not ") + purpose + ": command " + std::to_string(id) + " answered (" +
             std::to_string(status.code) + ", " + std::to_string(status.valid) + ")";
    return false;
}

bool CameraSession::command(std::int32_t id, const char* purpose, std::string& error) {
    NUV::PluginInterfaceReturnBase status(NUV::kNotSupported);
    return command(id, purpose, nullptr, &status, error);
}

}  // namespace host
