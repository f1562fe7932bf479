#include "TeskImagesComm.h"

#include <bit>
#include <vector>

#include "TeskImages.h"
#include "massert.h"
#include "object_names.h"

namespace kest::dorven {
namespace {

const char kFile[] = "Dorven/TeskImagesComm";

std::uint64_t bitsOf(std::uint64_t value) { return value; }
std::uint64_t bitsOf(double value) { return std::bit_cast<std::uint64_t>(value); }

/// Writes a pair from the source into an answer. False when the source has none.
template <typename Number>
bool storePair(const std::vector<Number>& pair, ImagesMessage& answer) {
    if (pair.size() < 2) return false;
    answer.first = bitsOf(pair[0]);
    answer.second = bitsOf(pair[1]);
    return true;
}

bool storeFormat(const std::vector<std::int32_t>& format, ImagesMessage& answer) {
    if (format.empty()) return false;
    answer.value32 = static_cast<std::uint32_t>(format[0]);
    return true;
}

bool answerFrom(TeskImages& source, ImagesMessage& answer) {
    switch (answer.command) {
        case kCommandImageSize:
            return storePair(source.imageSize(), answer);
        case kCommandPixelSize:
            return storePair(source.pixelSize(), answer);
        case kCommandImageFormat:
            return storeFormat(source.imageFormat(), answer);
        default:
            return false;
    }
}

}  // namespace

TeskImagesComm::TeskImagesComm(TeskImages* plugin) : _plugin(plugin) {}

std::shared_ptr<TeskImagesComm> TeskImagesComm::create(TeskImages* plugin) {
    return std::make_shared<TeskImagesComm>(plugin);
}

std::string TeskImagesComm::requestId() { return image_road::kCameraAsks; }

std::string TeskImagesComm::responseId() { return image_road::kSimulatorAsks; }

ImagesMessage TeskImagesComm::handle(const ImagesMessage& request) {
    ImagesMessage answer = request;
    if (!M_ASSERT(_plugin, "_plugin", "invalid plugin") || !answerFrom(*_plugin, answer))
        answer.command = kCommandFailed;
    return answer;
}

}  // namespace kest::dorven
