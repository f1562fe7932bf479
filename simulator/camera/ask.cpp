#include "ask.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "camera_asker.h"
#include "percentile.h"
#include "platform.h"

namespace simulator {
namespace {

using kest::dorven::ImagesMessage;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kNoAnswer = 3;
constexpr const char* kSchema = "dorven-ask/1";
constexpr std::int64_t kSecondNs = 1'000'000'000;
constexpr std::int64_t kRetryNs = 50'000'000;
constexpr std::size_t kRememberedTrips = 10'000;
constexpr std::size_t kTripsForP99 = 100;
constexpr std::int64_t kMeasuringNs = kSecondNs;  // for these trips at most

struct Answers {
    ImagesMessage size, pixel, format;
};

/// Round-trip times of the latest questions.
class RoundTrips {
public:
    void add(double microseconds) {
        _trips.push_back(microseconds);
        if (_trips.size() > kRememberedTrips) _trips.pop_front();
    }
    /// Microseconds. Always available, because each answered question is a trip.
    double p50() const { return percentile(0.50); }
    /// None for so few trips that it would be the longest one.
    std::optional<double> p99() const {
        return _trips.size() < kTripsForP99 ? std::nullopt : std::optional(percentile(0.99));
    }
    std::size_t count() const { return _trips.size(); }

private:
    double percentile(double share) const {
        std::vector<double> trips(_trips.begin(), _trips.end());
        return frames::percentile(trips, share).value_or(0.0);
    }

    std::deque<double> _trips;
};

class Questions {
public:
    Questions(CameraAsker& asker, double timeoutSeconds)
        : _asker(asker), _timeoutNs(static_cast<std::int64_t>(timeoutSeconds * 1e9)) {}

    /// Asks all three questions; none when one was not answered in time, or a stop was requested.
    std::optional<Answers> askAll() {
        const auto size = askUntilAnswered(kest::dorven::kCommandImageSize);
        const auto pixel = size ? askUntilAnswered(kest::dorven::kCommandPixelSize) : std::nullopt;
        const auto format = pixel ? askUntilAnswered(kest::dorven::kCommandImageFormat) : std::nullopt;
        if (!format) return std::nullopt;
        return Answers{*size, *pixel, *format};
    }
    /// Continues to ask until there are enough trips for all percentiles, as long as answers come and it takes no long
    /// time.
    void measureTrips() {
        const std::int64_t endNs = platform_monotonicNanoseconds() + kMeasuringNs;
        while (_trips.count() < kTripsForP99 && platform_monotonicNanoseconds() < endNs && !platform_stopRequested())
            if (!ask(kest::dorven::kCommandImageSize)) return;
    }
    const RoundTrips& trips() const { return _trips; }

private:
    std::optional<ImagesMessage> ask(std::uint32_t command) {
        const std::int64_t askedNs = platform_monotonicNanoseconds();
        const auto answer = _asker.ask(command);
        if (answer) _trips.add(static_cast<double>(platform_monotonicNanoseconds() - askedNs) / 1e3);
        return answer;
    }
    std::optional<ImagesMessage> askUntilAnswered(std::uint32_t command) {
        const std::int64_t endNs = platform_monotonicNanoseconds() + _timeoutNs;
        for (;;) {
            if (const auto answer = ask(command)) return answer;
            const std::int64_t nowNs = platform_monotonicNanoseconds();
            if (nowNs >= endNs || !platform_sleepUntil(std::min(nowNs + kRetryNs, endNs))) return std::nullopt;
        }
    }

    CameraAsker& _asker;
    std::int64_t _timeoutNs;
    RoundTrips _trips;
};

void printJson(const Answers& answers, const RoundTrips& trips, std::ostream& stream) {
    nlohmann::ordered_json object;
    object["schema"] = kSchema;
    object["width"] = answers.size.first;
    object["height"] = answers.size.second;
    object["pixel_width_um"] = std::bit_cast<double>(answers.pixel.first);  // null when it is no number
    object["pixel_height_um"] = std::bit_cast<double>(answers.pixel.second);
    object["bytes_per_pixel"] = answers.format.value32;
    object["round_trips"] = trips.count();
    object["round_trip_p50_us"] = trips.p50();
    object["round_trip_p99_us"] = trips.p99() ? nlohmann::ordered_json(*trips.p99()) : nullptr;
    stream << object.dump() << std::endl;
}

void printPeople(const Answers& answers, const RoundTrips& trips, std::ostream& stream) {
    stream << "image size    " << answers.size.first << " x " << answers.size.second << " pixels\n"
           << "pixel size    " << std::bit_cast<double>(answers.pixel.first) << " x "
           << std::bit_cast<double>(answers.pixel.second) << " um\n"
           << "image format  " << answers.format.value32 << (answers.format.value32 == 1 ? " byte" : " bytes")
           << " per pixel\n"
           << "round trip    p50 " << std::llround(trips.p50()) << " us, ";
    if (const auto p99 = trips.p99()) stream << "p99 " << std::llround(*p99) << " us ";
    stream << "of " << trips.count() << std::endl;
}

const char* whyNoAnswer() {
    return CameraAsker::cameraIsThere() ? "no answer, though a host has the camera open: it hangs, refuses, or another "
                                          "host that had the camera, "
                                          "too, has just ended; ask again in some seconds, or end all hosts but one"
                                        : "no answer: no host has the camera open; start one, or open the camera in it";
}

}  // namespace

int askCamera(const AskOptions& options, std::ostream& data, std::ostream& people) {
    std::string problem;
    const auto asker = CameraAsker::open(nullptr, problem);
    if (!asker) {
        people << "dorven-simulator: " << problem
               << (problem == kLinkTaken ? "; end it, or start it with --no-ask" : "") << std::endl;
        return kFailed;
    }
    Questions questions(*asker, options.timeoutSeconds);
    for (bool answered = false;; answered = true) {
        const auto answers = questions.askAll();
        if (!answers && platform_stopRequested() && answered) return kDone;
        if (!asker->problem().empty()) {
            people << "dorven-simulator: " << asker->problem() << std::endl;
            return kFailed;
        }
        if (!answers) {
            people << "dorven-simulator: " << whyNoAnswer() << std::endl;
            return kNoAnswer;
        }
        questions.measureTrips();
        if (options.json) {
            printJson(*answers, questions.trips(), data);
        } else {
            printPeople(*answers, questions.trips(), data);
        }
        if (!options.watch || !data.good()) return kDone;
        if (!platform_sleepUntil(platform_monotonicNanoseconds() + kSecondNs)) return kDone;
    }
}

}  // namespace simulator
