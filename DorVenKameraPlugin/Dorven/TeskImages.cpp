#include "TeskImages.h"

#include <algorithm>
#include <utility>

#include "IPMessenger.h"
#include "RecordField.h"
#include "TeskImagesComm.h"
#include "TeskImagesConfig.h"
#include "TeskImagesRun.h"
#include "errtrace.h"
#include "massert.h"
#include "object_names.h"

namespace kest::dorven {
namespace {

const char kFile[] = "Dorven/TeskImages";

constexpr std::uint64_t kDefaultWidth = 1280;
constexpr std::uint64_t kDefaultHeight = 1024;
constexpr std::int32_t kDefaultPixelFormat = 2;
constexpr double kDefaultFrameRate = 200.0;
constexpr double kPixelSizeUm = 5.2;
constexpr double kTemperatureC = 23.5;

/// Another process that waits for the same event can take a signal. Then the worker thread is woken again.
constexpr std::chrono::milliseconds kNotifyAgain{200};

/// Runs a function when its scope ends, however it ends.
template <typename Action>
class AtEnd {
public:
    explicit AtEnd(Action action) : _action(std::move(action)) {}
    ~AtEnd() { _action(); }
    AtEnd(const AtEnd&) = delete;
    AtEnd& operator=(const AtEnd&) = delete;

private:
    Action _action;
};

bool isThisThread(const std::shared_ptr<std::thread>& thread) {
    return thread && thread->get_id() == std::this_thread::get_id();
}

}  // namespace

TeskImages::TeskImages() : TeskImages(std::make_shared<MProcessEvent>(image_road::kImagesEvent)) {}

TeskImages::TeskImages(std::shared_ptr<MEvent> imageEvent, ThreadStarter startThread)
    : TeskImages(std::move(imageEvent), std::move(startThread), std::make_shared<NUV::IMAGEMEMORY>(),
                 std::make_shared<NUV::SmartMetaDataDouble>(kTemperatureC)) {}

TeskImages::TeskImages(std::shared_ptr<MEvent> imageEvent, ThreadStarter startThread,
                       std::shared_ptr<NUV::IMAGEMEMORY> record, std::shared_ptr<NUV::SmartMetaDataDouble> temperature)
    : TeskImages(Unlinked{}, std::move(imageEvent), std::move(startThread), std::move(record), std::move(temperature)) {
    link();  // last, because its thread uses this object at once
}

TeskImages::TeskImages(Unlinked unlinked)
    : TeskImages(unlinked, std::make_shared<MProcessEvent>(image_road::kImagesEvent), {},
                 std::make_shared<NUV::IMAGEMEMORY>(), std::make_shared<NUV::SmartMetaDataDouble>(kTemperatureC)) {}

TeskImages::TeskImages(Unlinked, std::shared_ptr<MEvent> imageEvent, ThreadStarter startThread,
                       std::shared_ptr<NUV::IMAGEMEMORY> record, std::shared_ptr<NUV::SmartMetaDataDouble> temperature)
    : _imageMemory(std::move(record)),
      _smartTemperature(std::move(temperature)),
      _pixelSize{kPixelSizeUm, kPixelSizeUm},
      _frameRate(kDefaultFrameRate),
      _imageEvent(std::move(imageEvent)),
      _callback{nullptr, nullptr},
      _startThread(startThread ? std::move(startThread) : startStandardThread) {
    const bool recorded = M_ASSERT(_imageMemory, "_imageMemory", "invalid image memory");
    const bool measured = M_ASSERT(_smartTemperature, "_smartTemperature", "invalid temperature");
    if (recorded) initImageMemory();
    if (recorded && measured) _imageMemory->metaData.emplace(NUV::SMARTMETADATAKEY::temperature, _smartTemperature);
}

void TeskImages::link() {
    if (_messenger) return;
    _comm = TeskImagesComm::create(this);
    _messenger = IPMessenger::create(_comm);
}

TeskImages::~TeskImages() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::~TeskImages");
    refuseGrabs();
    stopImageThread();
    // Only this thread is left: destroyed by its own callback, it uses nothing of this object any more.
    for (const Worker& worker : _leaving) worker.thread->detach();
    _messenger.reset();  // first of the members: its thread may still be answering from the others
}

std::shared_ptr<TeskImages> TeskImages::create(const char* path) {
    auto source = createUnlinked(path);
    source->link();
    return source;
}

std::shared_ptr<TeskImages> TeskImages::createUnlinked(const char* path) {
    M_TRACE(4, "%s  - %s", "kest::dorven::TeskImages::create", path ? path : "(nullptr)");
    // Exactly this class: a derived part would be destroyed first, while the link still makes virtual calls.
    std::shared_ptr<TeskImages> source(new TeskImages(Unlinked{}));
    if (const auto ini = openIniFile(path)) applyImageSection(*ini, *source->_imageMemory);
    return source;
}

/// The second size and the clipping have these values whatever is configured;
/// kept on purpose: docs/oddities.md, second-size
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
    _frameRate = f;  // kept on purpose: docs/oddities.md, refused-rate
    return f;
}

bool TeskImages::grab() {
    M_TRACE(4, "%s", "kest::dorven::TeskImages::grab");
    if (isRunning()) freezeToGrabAnew();
    if (!startImageThread()) {
        M_ERRLOG("%s - failed to start the grab.", "kest::dorven::TeskImages::grab");
        return false;
    }
    M_TRACE(4, "%s - grabbing.", "kest::dorven::TeskImages::grab");
    return true;
}

/// This freeze is followed by a new grab at once, whoever starts it.
void TeskImages::freezeToGrabAnew() {
    const auto note = [this](std::thread::id thread) {
        const std::lock_guard lock(_threadMutex);
        if (!isWorkerThread()) _grabsAnew = thread;
    };
    note(std::this_thread::get_id());
    const AtEnd forget([&] { note({}); });
    freeze();
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

bool TeskImages::calledByCallback() const {
    const std::lock_guard lock(_threadMutex);
    return isWorkerThread();
}

/// Call it with the lock held.
bool TeskImages::isWorkerThread() const {
    return isThisThread(_thread) || std::any_of(_leaving.begin(), _leaving.end(),
                                                [](const Worker& worker) { return isThisThread(worker.thread); });
}

void TeskImages::end() {
    refuseGrabs();
    if (isRunning()) freeze();
    joinLeavingThreads();
}

void TeskImages::refuseGrabs() {
    const std::lock_guard lock(_threadMutex);
    _ended = true;
}

bool TeskImages::startImageThread() {
    joinLeavingThreads();
    std::unique_lock lock(_threadMutex);  // so that a callback that stops the new thread finds it noted
    if (_ended) return false;
    if (refusesGrabOfCallback()) {
        lock.unlock();
        M_ERRLOG("%s() : refused to the image callback: another thread waits for it to end the images.",
                 "kest::dorven::TeskImages::startImageThread");
        return false;
    }
    if (_thread) return true;  // another thread was faster: its grab continues
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

/// Whether the calling thread is a callback that another thread waits for: a grab of its own would continue unnoticed
/// by that thread. The grab is refused and counts as stopped by the other thread. Call it with the lock held.
bool TeskImages::refusesGrabOfCallback() {
    if (_waitingStops == 0 || !isWorkerThread()) return false;
    ++_refusedGrabs;
    return true;
}

unsigned TeskImages::refusedGrabs() const {
    const std::lock_guard lock(_threadMutex);
    return _refusedGrabs;
}

bool TeskImages::stopImageThread() {
    std::unique_lock lock(_threadMutex);
    const bool ended = _ended;
    const bool found = _thread != nullptr;
    const bool holds = !isWorkerThread() && _grabsAnew != std::this_thread::get_id();
    const unsigned refusedBefore = _refusedGrabs;
    const bool left = leaveEndingRun();
    const auto other = found ? tellThreadToEnd() : nullptr;
    if (holds) ++_waitingStops;
    lock.unlock();

    const AtEnd release([&] {
        const std::lock_guard relock(_threadMutex);
        if (holds) --_waitingStops;
    });
    if (other) wakeUntilEnded(*other);
    joinLeavingThreads();
    if (found || left || ended || (holds && refusedGrabs() != refusedBefore)) return true;
    M_ERRLOG("%s() : thread is not running.", "kest::dorven::TeskImages::stopImageThread");
    return false;
}

/// If the caller is a callback whose grab another thread is ending, it gets none of the images that still wait. Call it
/// with the lock held.
/// @return False when the caller is no such callback, or has left before.
bool TeskImages::leaveEndingRun() {
    const auto own = std::find_if(_leaving.begin(), _leaving.end(),
                                  [](const Worker& worker) { return isThisThread(worker.thread); });
    return own != _leaving.end() && !std::exchange(own->run->left, true);
}

/// Records the running thread as leaving. Call it with the lock held.
/// @return Its run, to wait for; null when it is the calling thread: a thread cannot wait for itself, and this one ends
///         when its callback returns.
std::shared_ptr<TeskImages::Run> TeskImages::tellThreadToEnd() {
    _leaving.push_back({_thread, _run});
    _thread = nullptr;
    _run->stop();
    if (!isThisThread(_leaving.back().thread)) return _run;
    _run->left = true;
    return nullptr;
}

void TeskImages::wakeUntilEnded(Run& run) {
    do {
        // A signal for a run that never waits would stay, and the next grab would take it for the simulator's.
        if (run.hadItsTurn()) _imageEvent->Notify();
    } while (!run.waitForEnd(kNotifyAgain));
}

/// Waits for the threads that were told to end. The calling thread, which cannot wait for itself, stays in the list. A
/// callback waits only for threads that ended before it began or that wait for their turn after it, and so for no other
/// callback.
void TeskImages::joinLeavingThreads() {
    std::vector<std::shared_ptr<Run>> runs;
    {
        const std::lock_guard lock(_threadMutex);
        for (const Worker& worker : _leaving) {
            if (!isThisThread(worker.thread)) runs.push_back(worker.run);
        }
    }
    for (const auto& run : runs) run->waitForEnd();
    // They stay in the list as long as their callbacks may ask who they are.
    std::vector<Worker> ended;
    {
        const std::lock_guard lock(_threadMutex);
        const auto first = std::partition(_leaving.begin(), _leaving.end(),
                                          [](const Worker& worker) { return !worker.run->hasEnded(); });
        ended.assign(first, _leaving.end());
        _leaving.erase(first, _leaving.end());
    }
    for (const Worker& worker : ended) worker.thread->join();
}

}  // namespace kest::dorven
