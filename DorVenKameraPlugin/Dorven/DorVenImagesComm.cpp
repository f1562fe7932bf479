#include "DorVenImagesComm.h"

#include "errtrace.h"
#include "massert.h"

namespace kest::dorven {
namespace {

const char kFile[] = "Dorven/DorVenImagesComm";

}  // namespace

void DorVenImagesComm::setMessenger(const std::shared_ptr<IPMessenger>& messenger) { _messenger = messenger; }

void* DorVenImagesComm::requestData() { return &_request; }

std::size_t DorVenImagesComm::requestSize() { return sizeof _request; }

std::string DorVenImagesComm::requestId() { return "DorVenCameraPlugin_dorven_asks"; }

void* DorVenImagesComm::responseData() { return &_response; }

std::size_t DorVenImagesComm::responseSize() { return sizeof _response; }

std::string DorVenImagesComm::responseId() { return "DorVenCameraPlugin_tesk_asks"; }

void* DorVenImagesComm::incomingData() { return &_incoming; }

const void* DorVenImagesComm::execute() {
    _answer = handle(_incoming);
    return &_answer;
}

ImagesMessage DorVenImagesComm::handle(const ImagesMessage& request) {
    ImagesMessage answer = request;
    if (request.command == kCommandSnap) {
        M_TRACE(4, "SNAP");
        // kept on purpose: docs/oddities.md, snap-echo
        M_ASSERT(false, "false", "snapping not implemented");
    } else {
        M_TRACE(4, "FAILED");
        answer.command = kCommandFailed;
    }
    return answer;
}

ImagesMessage DorVenImagesComm::ask(const ImagesMessage& request) {
    const auto messenger = _messenger.lock();
    if (!messenger) return {};
    _request = request;
    return messenger->send() ? _response : ImagesMessage{};
}

}  // namespace kest::dorven
