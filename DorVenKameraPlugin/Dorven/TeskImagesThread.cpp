// The worker thread of a grab: one function for each row of
//
//   state     timeout       on a signal                      on silence
//   waiting   2 s           open the ring, read all images,  count; the eleventh in a row: fake one image, go to faking
//                           go to grabbing
//   grabbing  2 s           read all images                  as waiting; the last signal reset the count
//   faking    frame period  open the ring, read all images,  fake one image
//                           go to grabbing
//
// The event's waits measure the time. A failing wait fails at once; the thread then waits for the rest of the timeout
// by other means.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "RecordField.h"
#include "TeskImages.h"
#include "TeskImagesFifo.h"
#include "TeskImagesRun.h"
#include "errtrace.h"
#include "image_line.h"
#include "massert.h"
#include "mmemlinefifo.h"
#include "object_names.h"

namespace kest::dorven {
namespace {

const char kFile[] = "Dorven/TeskImages";

constexpr double kSignalTimeoutS = 2.0;   // of a wait for the simulator
constexpr int kMissesBeforeFaking = 10;   // the next one in a row begins faking
constexpr unsigned char kFakeGrey = 10;   // level of a fresh fake image
constexpr double kLowestPacedRate = 1.0;  // frames per second; at or below it is reported

// A larger size is a mistake in the configuration, and no reason to use up the machine's memory.
constexpr std::uint64_t kLargestFakeImage = 1ull << 32;
constexpr std::size_t kFillPortion = 1u << 23;  // bytes filled between two looks at whether the grab was stopped

// Results of a wait.
constexpr int kSignalled = 1;
constexpr int kTimedOut = -1;
constexpr int kFailed = 0;

/// Each failed wait leaves an entry in the error trace, so an event that keeps failing is waited for less and less
/// often.
constexpr double kRarestAskS = 60.0;

/// Shortest time that a failed wait takes, however high the frame rate, so that the processor stays free for others.
constexpr double kShortestRestS = 1e-4;

/// Negative stays negative: such a timeout never ends.
double restOf(double timeoutS) { return timeoutS >= 0.0 ? std::max(timeoutS, kShortestRestS) : timeoutS; }

/// Bytes of an image according to the record; the largest number, which no vector accepts, if they exceed 64 bits.
std::uint64_t imageBytes(const NUV::IMAGEMEMORY& record) {
    const auto times = [](std::uint64_t a, std::uint64_t b) {
        return b != 0 && a > UINT64_MAX / b ? UINT64_MAX : a * b;
    };
    return times(times(record.width, record.height), static_cast<std::uint64_t>(record.bytesPerPixel));
}

/// Reopens the ring. If its writer has recreated it, the old link is not returned;
/// kept on purpose: docs/oddities.md, old-link-held
bool openAfresh(ImageFifo& fifo) {
    fifo = openImageFifo();
    if (!fifo) return false;
    M_TRACE(4, "grabbing from dorven");
    return true;
}

/// Lines shorter than the image are delivered all the same, with an entry in the trace;
/// kept on purpose: docs/oddities.md, short-lines
void tellShortLine(ImageFifo& fifo, const NUV::IMAGEMEMORY& record) {
    const std::uint64_t pixelBytes = fifo.ring.lineLength() - sizeof(image_road::ImageLineHeader);
    const std::uint64_t expected = imageBytes(record);
    if (pixelBytes >= expected || std::exchange(fifo.shortLineTold, true)) return;
    M_TRACE(4, "%s() : image fifo has lines of %Iu pixel bytes for images of %Iu",
            "kest::dorven::TeskImages::imageThread", static_cast<std::size_t>(pixelBytes),
            static_cast<std::size_t>(expected));
}

}  // namespace

std::uint64_t microseconds(double seconds) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    const double value = seconds * 1e6;
    if (value >= 0.0 && value < 2 * kTwoTo63) return static_cast<std::uint64_t>(value);
    if (value >= -kTwoTo63 && value < 0.0) return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
    return 0;
}

void TeskImages::imageThread(Run& run) {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::imageThread");
    prepareRun(run);
    for (int status = waitForImages(run); run.running; status = waitForImages(run)) {
        if (status != kSignalled && status != kTimedOut && status != kFailed) {
            M_ASSERT(false, "false", "unknown wait status: %d", status);
            continue;
        }
        const bool signalled = status == kSignalled;
        switch (run.state()) {
            case Run::State::waiting:
                waiting(run, signalled);
                break;
            case Run::State::grabbing:
                grabbing(run, signalled);
                break;
            case Run::State::faking:
                faking(run, signalled);
                break;
        }
        if (run.left) break;
    }
    closeImageFifo(run.fifo);
}

/// Waits for the image event with the current timeout. While waits fail, the time until the event is waited for again
/// doubles with each failure.
int TeskImages::waitForImages(Run& run) {
    const char function[] = "kest::dorven::TeskImages::imageThread";
    const bool failedBefore = run.askAgainS != 0.0;
    if (!failedBefore || run.restedS >= run.askAgainS) {
        const int status = _imageEvent->Wait(run.timeoutS);
        if (status != kFailed) {
            if (failedBefore) M_ERRLOG("%s() : the image event can be waited for again.", function);
            run.askAgainS = 0.0;
            return status;
        }
        if (!failedBefore) {
            M_ERRLOG(
                "%s() : waiting for the image event failed, so no image of the simulator can arrive. Check that the "
                "name \"%s\" is free, and open the camera again.",
                function, image_road::kImagesEvent);
        }
        run.askAgainS = failedBefore ? std::min(2 * run.askAgainS, kRarestAskS) : restOf(run.timeoutS);
        run.restedS = 0.0;
    }
    rest(run);
    return kFailed;
}

/// Waits for the current timeout; a stop ends it.
void TeskImages::rest(Run& run) {
    const double seconds = restOf(run.timeoutS);
    run.restedS += seconds;
    if (_rest)
        _rest(seconds);
    else
        run.rest(seconds);
}

void TeskImages::prepareRun(Run& run) {
    run.timeoutS = kSignalTimeoutS;
    const bool recorded = M_ASSERT(_imageMemory, "_imageMemory", "image memory not initialized");
    M_ASSERT(_frameRate > kLowestPacedRate, "_frameRate > 1.0", "frame rate not initialized");
    run.periodS = 1.0 / _frameRate;
    if (std::isnan(run.periodS)) run.periodS = std::numeric_limits<double>::infinity();  // no pace, as with a rate of 0
    if (!recorded) return;
    const std::uint64_t size = imageBytes(*_imageMemory);
    try {
        if (size > kLargestFakeImage) throw std::length_error("more than " + std::to_string(kLargestFakeImage));
        sizeFakeImage(run, size);
    } catch (const std::exception& error) {
        _fakeImageMem.clear();
        M_ERRLOG("%s() : no fake image of %Iu bytes: %s", "kest::dorven::TeskImages::imageThread",
                 static_cast<std::size_t>(size), error.what());
    }
}

/// Bytes from an earlier grab stay, new ones are grey. If the grab is stopped meanwhile, the image stays unchanged:
/// filling a large one takes seconds, and no image will be faked from it.
void TeskImages::sizeFakeImage(const Run& run, std::size_t size) {
    if (size <= _fakeImageMem.size()) return _fakeImageMem.resize(size);
    std::vector<unsigned char> grown;
    grown.reserve(size);
    while (grown.size() < size) {
        if (!run.running) return;
        const std::size_t begin = grown.size();
        const std::size_t end = std::min(size, begin + kFillPortion);
        const auto former = [&](std::size_t index) {
            return _fakeImageMem.begin() + static_cast<std::ptrdiff_t>(std::min(index, _fakeImageMem.size()));
        };
        grown.insert(grown.end(), former(begin), former(end));
        grown.resize(end, kFakeGrey);
    }
    _fakeImageMem = std::move(grown);
}

void TeskImages::waiting(Run& run, bool signalled) {
    if (!signalled) return missSignal(run);
    if (openAfresh(run.fifo)) readImages(run);
}

void TeskImages::grabbing(Run& run, bool signalled) {
    if (!signalled) return missSignal(run);
    const bool stillReader =
        MMemLineFifo_IsReaderAttached(run.fifo.ring.memory()) != 0;  // false when the ring was recreated
    if (stillReader || openAfresh(run.fifo)) readImages(run);
}

void TeskImages::faking(Run& run, bool signalled) {
    if (!signalled) return fakeImage(run);
    if (openAfresh(run.fifo)) readImages(run);
}

/// A wait for the simulator without a signal; after the eleventh in a row images are faked.
void TeskImages::missSignal(Run& run) {
    M_TRACE(4, "dorven is not responding: %d", run.misses);
    if (run.misses++ < kMissesBeforeFaking) return;
    run.misses = 0;
    M_TRACE(4, "no dorven connected, faking images");
    closeImageFifo(run.fifo);
    run.timeoutS = run.periodS;
    fakeImage(run);
}

void TeskImages::readImages(Run& run) {
    run.timeoutS = kSignalTimeoutS;
    run.misses = 0;
    const auto record = _imageMemory;
    if (!M_ASSERT(record, "_imageMemory", "image not initialized")) return;
    std::uint64_t afterStop = 0;
    while (const unsigned char* line = frontLine(run.fifo)) {
        tellShortLine(run.fifo, *record);
        image_road::ImageLineHeader header;
        std::memcpy(&header, line, sizeof header);
        record->imageCounter = static_cast<std::uint32_t>(header.imageCounter & 0xFFFFFFFFu);
        record->frameTime = header.frameTimeS;
        record->timeStampType = 1;
        record->timeStamp = microseconds(header.timeStampS);
        storeField(record->imageBuffer,
                   const_cast<unsigned char*>(line) + sizeof header);  // in place: nothing is copied
        handOver(*record);
        popLine(run.fifo);
        if (run.left) return;
        // All images that waited when the grab was stopped are delivered, but a simulator that floods the ring cannot
        // delay the stop for ever.
        if (!run.running && ++afterStop >= run.fifo.ring.slotCount()) return;
    }
}

void TeskImages::fakeImage(Run& run) {
    const auto record = _imageMemory;
    if (!M_ASSERT(record, "_imageMemory", "image not initialized")) return;
    M_ASSERT(_fakeImageMem.size() > 0, "_fakeImageMem.size() > 0", "fake image memory not initialized");
    M_ASSERT(_frameRate > kLowestPacedRate, "_frameRate > 1.0", "frame rate not initialized");
    ++record->imageCounter;
    record->frameTime = 1.0 / _frameRate;  // as set now, while the pace stays that of the start
    record->timeStampType = 1;
    record->timeStamp += microseconds(run.periodS);
    storeField(record->imageBuffer, _fakeImageMem.data());
    handOver(*record);
}

void TeskImages::handOver(NUV::IMAGEMEMORY& record) {
    NUV::PluginInterfaceCallbackData callback;
    {
        const std::lock_guard lock(_callbackMutex);
        callback = _callback;
    }
    if (!callback.function) return;
    try {
        callback.function(callback.context, &record);
    } catch (const std::exception& error) {
        M_ERRLOG("%s() : the image callback threw: %s", "kest::dorven::TeskImages::handOver", error.what());
    } catch (...) {
        M_ERRLOG("%s() : the image callback threw an unknown exception.", "kest::dorven::TeskImages::handOver");
    }
}

}  // namespace kest::dorven
