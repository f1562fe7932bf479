// The simulator's end of the link to the camera: asks the camera for the size and format of its images.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "ImagesMessage.h"
#include "image_view.h"
#include "named_claim.h"

namespace kest::dorven {
class DorVenImagesComm;
class IPMessenger;
}  // namespace kest::dorven

namespace simulator {

class AnswerFaults;

/// The problem of an asker that finds the link taken.
constexpr const char* kLinkTaken = "another simulator has the link to the camera";

/// One at a time among all processes: a second one would recreate the fifo that the first one uses. It uses the link
/// only while the camera does, so that waiting for the camera leaves nothing in the logs. On the link it also answers
/// requests of the camera's side. Used by one thread at a time.
class CameraAsker {
public:
    /// @param faults   Faults of the answers to the camera's side; may be null.
    /// @param problem  Receives the reason for a null result: kLinkTaken, or what the system refuses and what to do.
    /// @return         null when another asker has the link, or when one of its events cannot be created.
    static std::unique_ptr<CameraAsker> open(const std::shared_ptr<AnswerFaults>& faults, std::string& problem);

    ~CameraAsker();
    CameraAsker(const CameraAsker&) = delete;
    CameraAsker& operator=(const CameraAsker&) = delete;

    /// Asks one question; blocks for about 2 seconds at most.
    /// @param command  kCommandImageSize, kCommandPixelSize or kCommandImageFormat.
    /// @return         The answer, unchecked; none when nobody answered, the question could not be sent, or a problem
    ///                 remains.
    std::optional<kest::dorven::ImagesMessage> ask(std::uint32_t command);

    /// Asks for size and bytes per pixel. Unchecked.
    std::optional<frames::ImageFormat> askFormat();

    /// Whether a host has the camera open, or asks like one; the camera may then exist without answering.
    static bool cameraIsThere();

    /// Why the last question could not be asked; empty when it could, or when there is no camera.
    const std::string& problem() const { return _problem; }

private:
    explicit CameraAsker(const std::shared_ptr<AnswerFaults>& faults);
    bool standOnLink();

    NamedClaim _claim;
    std::string _problem;
    std::shared_ptr<kest::dorven::DorVenImagesComm> _channel;
    std::shared_ptr<kest::dorven::IPMessenger> _messenger;  // null while there is no camera
};

/// Whether the simulator can make such images.
bool canBeMade(const frames::ImageFormat& format);

}  // namespace simulator
