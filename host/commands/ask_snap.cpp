#include "ask_snap.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "DorVenImagesComm.h"
#include "IPMessenger.h"
#include "camera_claim.h"
#include "named_claim.h"
#include "object_names.h"
#include "object_refusal.h"
#include "platform.h"

namespace host {
namespace {

constexpr const char* kSchema = "dorven-ask-snap/1";

using kest::dorven::DorVenImagesComm;
using kest::dorven::ImagesMessage;
using kest::dorven::IPMessenger;

constexpr std::int64_t kRetryNs = 50'000'000;

/// Arbitrary values, to see whether the whole request comes back.
constexpr ImagesMessage kRequest{kest::dorven::kCommandSnap, 1, 2, 3};

/// The camera's end of the link, without a camera: the simulator's end with both directions swapped.
class SnapChannel : public DorVenImagesComm {
public:
    std::string requestId() override { return DorVenImagesComm::responseId(); }
    std::string responseId() override { return DorVenImagesComm::requestId(); }
    /// Answers a simulator that asks for size or format: there is none.
    ImagesMessage handle(const ImagesMessage& request) override {
        ImagesMessage answer = request;
        answer.command = kest::dorven::kCommandFailed;
        return answer;
    }
};

struct Answer {
    ImagesMessage message;
    double roundTripUs;
};

bool simulatorIsThere() { return NamedClaim::isTaken(image_road::finishedOf(image_road::kSimulatorAsks)); }

/// Uses the link only once a simulator is there, so that waiting for it leaves nothing in the logs.
std::optional<Answer> askUntilAnswered(const std::shared_ptr<SnapChannel>& channel, double timeoutSeconds) {
    std::shared_ptr<IPMessenger> messenger;
    const std::int64_t endNs = platform_monotonicNanoseconds() + static_cast<std::int64_t>(timeoutSeconds * 1e9);
    for (;;) {
        const std::int64_t askedNs = platform_monotonicNanoseconds();
        if (!messenger && simulatorIsThere()) messenger = IPMessenger::create(channel);
        const ImagesMessage message = channel->ask(kRequest);
        const std::int64_t nowNs = platform_monotonicNanoseconds();
        // All zero: nobody answered. A simulator that refuses returns the rest of the request.
        if (message.value32 != 0 || message.first != 0 || message.second != 0)
            return Answer{message, static_cast<double>(nowNs - askedNs) / 1e3};
        if (nowNs >= endNs || !platform_sleepUntil(std::min(nowNs + kRetryNs, endNs))) return std::nullopt;
    }
}

bool isEcho(const ImagesMessage& message) { return std::memcmp(&message, &kRequest, sizeof message) == 0; }

void printJson(const Answer& answer, std::ostream& stream) {
    nlohmann::ordered_json object;
    object["schema"] = kSchema;
    object["command"] = answer.message.command;
    object["value32"] = answer.message.value32;
    object["first"] = answer.message.first;
    object["second"] = answer.message.second;
    object["echoed"] = isEcho(answer.message);
    object["round_trip_us"] = answer.roundTripUs;
    stream << object.dump() << std::endl;
}

void printFields(const char* label, const ImagesMessage& message, std::ostream& stream) {
    stream << label << "command " << message.command << ", value32 " << message.value32 << ", first " << message.first
           << ", second " << message.second << '\n';
}

void printPeople(const Answer& answer, std::ostream& stream) {
    printFields("asked       ", kRequest, stream);
    printFields("answer      ", answer.message, stream);
    stream << "            "
           << (isEcho(answer.message) ? "the request as it was" : "the simulator does not know the command") << '\n'
           << "round trip  " << std::llround(answer.roundTripUs) << " us" << std::endl;
}

}  // namespace

int askSnap(const AskSnapOptions& options, std::ostream& data, std::ostream& people) {
    CameraClaim claim;
    if (!claim.take()) {
        people << "dorven-host: " << kCameraIsTaken << std::endl;
        return kExitFailed;
    }
    if (const std::string problem = claim.problem(); !problem.empty()) {
        people << "dorven-host: no link to the simulator: " << problem << std::endl;
        return kExitFailed;
    }
    const auto answer = askUntilAnswered(std::make_shared<SnapChannel>(), options.timeoutSeconds);
    if (!answer) {
        people << "dorven-host: no answer from a simulator"
               << (simulatorIsThere() ? ", though one stands on the link: it hangs or was paused"
                                      : ": none stands on the link; start dorven-simulator, without --no-ask")
               << std::endl;
        return kExitNoImage;
    }
    if (options.json) {
        printJson(*answer, data);
    } else {
        printPeople(*answer, data);
    }
    return isEcho(answer->message) ? kExitDone : kExitFailed;
}

}  // namespace host
