#include "camera_claim.h"

#include "object_names.h"
#include "object_refusal.h"
#include "platform.h"

namespace host {
namespace {

// A process that checks whether the event exists holds it briefly, like a simulator that asks for a camera.
constexpr int kLooks = 5;
constexpr std::int64_t kBetweenLooksNs = 20'000'000;

}  // namespace

CameraClaim::CameraClaim() : _claim(image_road::finishedOf(image_road::kCameraAsks)) {}

bool CameraClaim::take() {
    for (int look = 1;; ++look) {
        if (_claim.claim() || !_claim.isTakenByAnother()) return true;
        if (look >= kLooks || !platform_sleepUntil(platform_monotonicNanoseconds() + kBetweenLooksNs)) return false;
    }
}

std::string CameraClaim::problem() const {
    if (_claim.isHeld()) return "";
    return platform_explainRefusal(_claim.name().c_str(), _claim.error(), 0).text();
}

}  // namespace host
