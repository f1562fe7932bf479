#include "camera_asker.h"

#include <exception>
#include <utility>
#include <vector>

#include "DorVenImagesComm.h"
#include "IPMessenger.h"
#include "answer_faults.h"
#include "camera_config.h"
#include "image_size.h"
#include "mevent.h"
#include "object_names.h"
#include "object_refusal.h"

namespace simulator {

using kest::dorven::DorVenImagesComm;
using kest::dorven::ImagesMessage;
using kest::dorven::IPMessenger;

namespace {

std::string refusalText(const std::string& name, DWORD error) {
    return "no link to the camera: " + platform_explainRefusal(name.c_str(), error, 0).text();
}

/// Holds the events of both fifos. A messenger would continue without an event that the system refuses, and receive
/// nothing; so they are created before it.
class LinkEvents {
public:
    LinkEvents() {
        for (const char* id : {image_road::kSimulatorAsks, image_road::kCameraAsks}) make(image_road::eventOf(id));
    }
    ~LinkEvents() {
        for (const HANDLE event : _events) MEvent_Delete(event);
    }
    LinkEvents(const LinkEvents&) = delete;
    LinkEvents& operator=(const LinkEvents&) = delete;

    /// Why one cannot be created; empty: both exist.
    const std::string& problem() const { return _problem; }

private:
    void make(const std::string& name) {
        const HANDLE event = MEvent_Create(name.c_str());
        const DWORD error = GetLastError();
        if (event && event != INVALID_HANDLE_VALUE)
            _events.push_back(event);
        else
            _problem = refusalText(name, error);
    }

    std::vector<HANDLE> _events;
    std::string _problem;
};

/// Answers like the channel, except for provoked faults.
class FaultyImagesComm : public DorVenImagesComm {
public:
    explicit FaultyImagesComm(std::shared_ptr<AnswerFaults> faults) : _faults(std::move(faults)) {}
    ImagesMessage handle(const ImagesMessage& request) override {
        ImagesMessage answer = DorVenImagesComm::handle(request);
        if (request.command == kest::dorven::kCommandSnap) _faults->apply(answer);
        return answer;
    }

private:
    std::shared_ptr<AnswerFaults> _faults;
};

}  // namespace

CameraAsker::CameraAsker(const std::shared_ptr<AnswerFaults>& faults)
    : _claim(image_road::finishedOf(image_road::kSimulatorAsks)),
      _channel(faults ? std::make_shared<FaultyImagesComm>(faults) : std::make_shared<DorVenImagesComm>()) {}

CameraAsker::~CameraAsker() = default;

std::unique_ptr<CameraAsker> CameraAsker::open(const std::shared_ptr<AnswerFaults>& faults, std::string& problem) {
    std::unique_ptr<CameraAsker> asker(new CameraAsker(faults));
    const NamedClaim& claim = asker->_claim;
    if (asker->_claim.claim()) {
        problem = LinkEvents().problem();
    } else {
        problem = claim.isTakenByAnother() ? kLinkTaken : refusalText(claim.name(), claim.error());
    }
    if (!problem.empty()) asker.reset();
    return asker;
}

bool CameraAsker::cameraIsThere() { return NamedClaim::isTaken(image_road::finishedOf(image_road::kCameraAsks)); }

bool CameraAsker::standOnLink() {
    _problem.clear();
    if (!cameraIsThere()) {
        _messenger.reset();
        return false;
    }
    if (_messenger) return true;
    const LinkEvents events;  // until the messenger has them, too
    _problem = events.problem();
    if (!_problem.empty()) return false;
    try {
        _messenger = IPMessenger::create(_channel);
    } catch (const std::exception& exception) {  // no thread
        _problem = std::string("no link to the camera: ") + exception.what();
    }
    return _messenger != nullptr;
}

std::optional<ImagesMessage> CameraAsker::ask(std::uint32_t command) {
    if (!standOnLink()) return std::nullopt;
    const ImagesMessage answer = _channel->ask({command, 0, 0, 0});
    if (answer.command != command) return std::nullopt;
    return answer;
}

std::optional<frames::ImageFormat> CameraAsker::askFormat() {
    const auto size = ask(kest::dorven::kCommandImageSize);
    if (!size) return std::nullopt;
    const auto format = ask(kest::dorven::kCommandImageFormat);
    if (!format) return std::nullopt;
    return frames::ImageFormat{size->first, size->second, format->value32};
}

bool canBeMade(const frames::ImageFormat& format) {
    const auto within = [](std::size_t value, std::size_t greatest) { return value >= 1 && value <= greatest; };
    return within(format.width, frames::kMaxSide) && within(format.height, frames::kMaxSide) &&
           within(format.bytesPerPixel, frames::kMaxBytesPerPixel);
}

}  // namespace simulator
