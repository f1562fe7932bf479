// The simulator's end of the link to the camera: asks it for the size and the format of its images.
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

/// Said by who finds the link taken.
constexpr const char* kLinkTaken = "another simulator has the link to the camera";

/// One at a time among all processes: a second one would lay the fifo anew that the first one sends through. It stands
/// on the link only while the camera does, so that waiting for it leaves nothing in the logs; there it also answers
/// what the camera's side asks. Used by one thread at a time.
class CameraAsker {
public:
    /// @param faults   Of the answers to the camera's side; null: none.
    /// @param problem  Receives why there is none: kLinkTaken, or what the system refuses and what to do.
    /// @return         null when another asker has the link, or when one of its events cannot be made.
    static std::unique_ptr<CameraAsker> open(const std::shared_ptr<AnswerFaults>& faults, std::string& problem);

    ~CameraAsker();
    CameraAsker(const CameraAsker&) = delete;
    CameraAsker& operator=(const CameraAsker&) = delete;

    /// Asks one question; blocks for about 2 seconds at most.
    /// @param command  kCommandImageSize, kCommandPixelSize or kCommandImageFormat.
    /// @return         The answer as it came, unchecked; none when nobody answered, or could not, or a problem is left.
    std::optional<kest::dorven::ImagesMessage> ask(std::uint32_t command);

    /// Asks for size and bytes per pixel. As they came, unchecked.
    std::optional<frames::ImageFormat> askFormat();

    /// Whether a host has the camera open, or asks as one: whoever does not answer then is there all the same.
    static bool cameraIsThere();

    /// Why the last question could not be asked; empty: it could, or no camera is there.
    const std::string& problem() const { return _problem; }

private:
    explicit CameraAsker(const std::shared_ptr<AnswerFaults>& faults);
    bool standOnLink();

    NamedClaim _claim;
    std::string _problem;
    std::shared_ptr<kest::dorven::DorVenImagesComm> _channel;
    std::shared_ptr<kest::dorven::IPMessenger> _messenger;  // null while no camera is there
};

/// Whether the simulator can make such images.
bool canBeMade(const frames::ImageFormat& format);

}  // namespace simulator
