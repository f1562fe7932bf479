// The channel between the image source and its simulator, as the simulator sees it: it asks for image size, pixel size
// and image format.
#pragma once

#include <memory>
#include <string>

#include "IPMessenger.h"
#include "ImagesMessage.h"

namespace kest::dorven {

/// Sends on channel kSimulatorAsks and listens on kCameraAsks (object_names.h).
class DorVenImagesComm : public IPMessenger::Comm {
public:
    DorVenImagesComm() = default;
    DorVenImagesComm(const DorVenImagesComm&) = delete;
    DorVenImagesComm& operator=(const DorVenImagesComm&) = delete;

    void setMessenger(const std::shared_ptr<IPMessenger>& messenger) override;
    void* requestData() override;
    std::size_t requestSize() override;
    std::string requestId() override;
    void* responseData() override;
    std::size_t responseSize() override;
    std::string responseId() override;
    void* incomingData() override;
    const void* execute() override;

    /// Answers a request of the peer, on the messenger's thread. A request that cannot be answered is returned with
    /// command 0 and otherwise unchanged.
    virtual ImagesMessage handle(const ImagesMessage& request);

    /// Asks the peer; one caller at a time. Blocks like IPMessenger::send.
    /// @return The answer; all zero when the messenger is gone or nobody answered in time. Use this copy, because a
    ///         late answer is still written to responseData.
    virtual ImagesMessage ask(const ImagesMessage& request);

private:
    std::weak_ptr<IPMessenger> _messenger;  // weak, because the messenger owns its channel
    ImagesMessage _request{};
    ImagesMessage _response{};
    ImagesMessage _incoming{};
    ImagesMessage _answer{};
};

}  // namespace kest::dorven
