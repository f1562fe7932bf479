#include "TeskImages.h"

#include <algorithm>
#include <utility>

#include "IPMessenger.h"
#include "TeskImagesComm.h"
#include "TeskImagesConfig.h"
#include "TeskImagesRun.h"
#include "errtrace.h"
#include "massert.h"

namespace kest::dorven {
namespace {

const char kFile[] = "Dorven/TeskImages";

const char kEventName[] = "DorVenImagesEvent";

constexpr std::uint64_t kDefaultWidth = 1280;
constexpr std::uint64_t kDefaultHeight = 1024;
constexpr std::int32_t kDefaultPixelFormat = 2;
constexpr double kDefaultFrameRate = 200.0;
constexpr double kPixelSizeUm = 5.2;
constexpr double kTemperatureC = 23.5;

/// A signal can be taken by another process that waits for the same event. Then the worker thread is woken again.
constexpr std::chrono::milliseconds kNotifyAgain{200};

/// The simulator may ask while the configuration is still being applied: it gets the value before or after.
template <typename Number>
Number loadField(Number& field) {
    return std::atomic_ref(field).load(std::memory_order_relaxed);
}

bool isThisThread(const std::shared_ptr<std::thread>& thread) {
    return thread && thread->get_id() == std::this_thread::get_id();
}

}  // namespace

TeskImages::TeskImages() : TeskImages(std::make_shared<MProcessEvent>(kEventName)) {}

TeskImages::TeskImages(std::shared_ptr<MEvent> imageEvent, ThreadStarter startThread)
    : _imageMemory(std::make_shared<NUV::IMAGEMEMORY>()),
      _smartTemperature(std::make_shared<NUV::SmartMetaDataDouble>(kTemperatureC)),
      _pixelSize{kPixelSizeUm, kPixelSizeUm},
      _frameRate(kDefaultFrameRate),
      _imageEvent(std::move(imageEvent)),
      _callback{nullptr, nullptr},
      _startThread(startThread ? std::move(startThread) : startStandardThread) {
    initImageMemory();
    M_ASSERT(_imageMemory, "_imageMemory", "invalid image memory");
    M_ASSERT(_smartTemperature, "_smartTemperature", "invalid temperature");
    _imageMemory->metaData.emplace(NUV::SMARTMETADATAKEY::temperature, _smartTemperature);
    // Last of all: its thread answers from this object at once.
    _comm = TeskImagesComm::create(this);
    _messenger = IPMessenger::create(_comm);
}

TeskImages::~TeskImages() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::~TeskImages");
    if (isRunning()) stopImageThread();
    joinLeavingThreads();
    // What is left is this thread: destroyed by its own callback, it touches nothing of this object any more.
    for (const auto& thread : _leaving) thread->detach();
    _messenger.reset();  // first of the members: its thread may still be answering from the others
}

std::shared_ptr<TeskImages> TeskImages::create(const char* path) {
    M_TRACE(4, "%s  - %s", "kest::dorven::TeskImages::create", path ? path : "(nullptr)");
    auto source = std::make_shared<TeskImages>();
    if (const auto ini = openIniFile(path)) applyImageSection(*ini, *source->_imageMemory);
    return source;
}

/// The second size and the clipping keep these values whatever is configured, kept on purpose: hosts take the size of
/// an image from width and height.
void TeskImages::initImageMemory() {
    NUV::IMAGEMEMORY& record = *_imageMemory;
    record.width = record.secondWidth = kDefaultWidth;
    record.height = record.secondHeight = kDefaultHeight;
    record.clipping = {0, 0, kDefaultWidth, kDefaultHeight};
    record.bytesPerPixel = 1;
    record.imageBuffer = nullptr;
    record.arrangeType = 0;
    record.timeStampType = 1;
    record.timeStamp = 0;
    record.frameTime = 0.0;
    record.imageCounter = 0;
    record.pixelFormat = NUV::PIXELFORMAT(kDefaultPixelFormat);
    record.metaData.clear();
}

std::shared_ptr<NUV::IMAGEMEMORY> TeskImages::imageMemory() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::imageMemory");
    M_ASSERT(_imageMemory, "_imageMemory", "invalid image memory");
    return _imageMemory;
}

NUV::SmartMetaDataCaps& TeskImages::imageMemoryCaps() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::imageMemoryCaps");
    return _imageMemoryCaps;
}

std::vector<std::uint64_t> TeskImages::imageSize() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::imageSize");
    if (!M_ASSERT(_imageMemory, "_imageMemory", "invalid image memory")) return {};
    return {loadField(_imageMemory->width), loadField(_imageMemory->height)};
}

std::vector<std::int32_t> TeskImages::imageFormat() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::imageFormat");
    if (!M_ASSERT(_imageMemory, "_imageMemory", "invalid image memory")) return {};
    return {loadField(_imageMemory->bytesPerPixel)};
}

std::vector<double> TeskImages::pixelSize() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::pixelSize");
    return {_pixelSize[0], _pixelSize[1]};
}

double TeskImages::frameRate() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::frameRate");
    return _frameRate;
}

double TeskImages::setFrameRate(const double& f) {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::setFrameRate");
    M_ASSERT(f > 0.0, "f > 0.0", "invalid frame rate: %f", f);
    _frameRate = f;  // also a refused one, kept on purpose: the host reads back what it set
    return f;
}

bool TeskImages::grab() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::grab");
    if (isRunning()) freeze();
    if (!startImageThread()) {
        M_ERRLOG("%s - failed to start the grab.", "kest::dorven::TeskImages::grab");
        return false;
    }
    M_TRACE(4, "%s - grabbing.", "kest::dorven::TeskImages::grab");
    return true;
}

bool TeskImages::freeze() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::freeze");
    if (!stopImageThread()) {
        M_ERRLOG("Failed to stop the grabbing.");
        return false;
    }
    return true;
}

void TeskImages::setCallback(void* context, NUV::ImageCallback function) {
    const std::lock_guard lock(_callbackMutex);
    _callback = {context, function};
}

bool TeskImages::isRunning() const {
    const std::lock_guard lock(_threadMutex);
    return _thread != nullptr;
}

bool TeskImages::startImageThread() {
    joinLeavingThreads();
    const std::lock_guard lock(_threadMutex);  // so that a callback that stops the new thread finds it noted
    if (_thread) return true;                  // another thread was quicker: its grab goes on
    auto run = std::make_shared<Run>(_run);
    auto thread = _startThread([this, run] {
        if (run->waitForTurn()) imageThread(*run);
        run->announceEnd();
    });
    if (!thread) {
        M_ERRLOG("%s() : DorVenPlugin::StartGetImageThread() failed to created getcmd thread.",
                 "kest::dorven::TeskImages::startImageThread");
        return false;
    }
    _run = std::move(run);
    _thread = std::move(thread);
    return true;
}

bool TeskImages::stopImageThread() {
    std::unique_lock lock(_threadMutex);
    const auto thread = std::exchange(_thread, nullptr);
    const auto run = _run;
    if (!thread) {
        M_ERRLOG("%s() : thread is not running.", "kest::dorven::TeskImages::stopImageThread");
        return false;
    }
    run->running = false;
    if (isThisThread(thread)) {
        // Called by the callback: a thread cannot wait for itself. It ends when the callback returns.
        run->left = true;
        _leaving.push_back(thread);
        return true;
    }
    lock.unlock();
    do {
        _imageEvent->Notify();
    } while (!run->waitForEnd(kNotifyAgain));
    thread->join();
    return true;
}

/// Waits for the threads that were stopped by their own callback; the calling one stays noted.
void TeskImages::joinLeavingThreads() {
    std::unique_lock lock(_threadMutex);
    const auto others = std::partition(_leaving.begin(), _leaving.end(), isThisThread);
    const std::vector<std::shared_ptr<std::thread>> threads(others, _leaving.end());
    _leaving.erase(others, _leaving.end());
    lock.unlock();
    for (const auto& thread : threads) thread->join();
}

}  // namespace kest::dorven
