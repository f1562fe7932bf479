#include "grab.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <stdexcept>
#include <utility>

#include "camera_session.h"
#include "exception_text.h"
#include "grab_limits.h"
#include "image_record.h"
#include "platform.h"
#include "process_cpu.h"
#include "program_log.h"
#include "readable_extent.h"
#include "save_options.h"

namespace host {
namespace {

constexpr std::int64_t kPollNs = 20'000'000;       // how often the main thread looks
constexpr std::int64_t kSecondNs = 1'000'000'000;  // between two looks of the observers
constexpr std::size_t kMaxRows = 65'536;           // images that wait for an observer at most
constexpr std::int64_t kExtentNs = 100'000'000;    // for which a mapping is taken to stay as it was seen

std::optional<double> percentOf(std::int64_t cpuNs, std::int64_t elapsedNs) {
    if (elapsedNs <= 0) return std::nullopt;
    return static_cast<double>(cpuNs) / static_cast<double>(elapsedNs) * 100.0;
}

ImageCheckSettings checkSettings(const Limits& limits, const GrabFindings& findings, std::int64_t startNs) {
    ImageCheckSettings settings{startNs, latencyLimitNs(limits), findings.capacity};
    if (findings.lateFromUs) {
        const auto fromNs = static_cast<std::int64_t>(*findings.lateFromUs * 1000.0);
        settings.lateFromNs = std::min(settings.lateFromNs.value_or(fromNs), fromNs);
    }
    return settings;
}

}  // namespace

Grab::Grab(NUV::PluginDeviceBase& device, const GrabOptions& options, std::ostream& people,
           const GrabFindings& findings)
    : _device(device),
      _options(options),
      _people(people),
      _findings(findings),
      _requiresSimulator(options.requireSimulator.value_or(needSimulator(options.limits))) {}

Grab::~Grab() = default;

int Grab::run() {
    std::string error;
    CameraSession camera(_device);  // also stops when something is thrown
    if (!tellUnless(camera.claim(_options.share, error), error)) return kExitFailed;
    if (!prepareSaving() || !open(camera) || !reserveForSaving() || !start(camera)) return kExitFailed;
    int exitCode = waitForEnd();
    tellUnless(camera.stop(error), error);
    _endNs = platform_monotonicNanoseconds();
    _endCpuNs = platform_processCpuNanoseconds();
    tellFrames();
    tellSecond(_endNs);
    for (GrabObserver* const observer : _observers) observer->onEnd();
    exitCode = tellEnd(exitCode != kExitNoImage);
    if (_saver) _saver->finish();
    if (saved().failed > 0) {
        _people << "dorven-host: " << saved().firstError << std::endl;
        exitCode = kExitFailed;
    }
    return exitCode;
}

bool Grab::tellUnless(bool good, const std::string& error) {
    if (good) return true;
    options::tellLogBefore("dorven-host", _people);
    _people << "dorven-host: " << error << std::endl;
    return false;
}

bool Grab::prepareSaving() {
    if (_options.save.folder.empty()) return true;
    std::string error;
    _saver = ImageSaver::create(saveSettingsOf(_options.save), error);
    return tellUnless(_saver != nullptr, error);
}

bool Grab::reserveForSaving() {
    if (!_saver) return true;
    std::string error;
    if (!tellUnless(_saver->reserve(_format, error), error)) return false;
    if (_options.quiet) return true;
    _people << "dorven-host: saving: " << _saver->queueCapacity() << " images may wait to be saved";
    if (_saver->threads() > 1) _people << ", " << _saver->threads() << " threads compress";
    if (_options.save.aroundLoss > 0) _people << ", the latest " << _options.save.aroundLoss << " are kept for a loss";
    _people << "; takes " << (_saver->reservedBytes() + 999'999) / 1'000'000 << " MB of memory" << std::endl;
    return true;
}

bool Grab::open(CameraSession& camera) {
    std::string error;
    if (!tellUnless(camera.open(_options.configFile, error), error)) return false;
    const NUV::IMAGEMEMORY* const record = camera.imageMemory(error);
    double frameRate = 0.0;
    if (!tellUnless(record && camera.frameRate(frameRate, error), error)) return false;
    const auto format = formatOf(*record);
    if (!format) {
        _people << "dorven-host: the camera's images are impossibly large: " << record->width << " x " << record->height
                << " pixels of " << record->bytesPerPixel << " bytes; check the sizes in its configuration"
                << std::endl;
        return false;
    }
    _format = *format;
    if (_options.quiet) return true;
    _people << "dorven-host: " << record->width << " x " << record->height << " pixels, " << record->bytesPerPixel
            << (record->bytesPerPixel == 1 ? " byte" : " bytes") << " per pixel; fakes " << frameRate
            << " images per second without a simulator" << std::endl;
    return true;
}

bool Grab::start(CameraSession& camera) {
    const std::int64_t nowNs = platform_monotonicNanoseconds();
    _startNs = _lookNs = nowNs;
    _startCpuNs = _lookCpuNs = platform_processCpuNanoseconds();
    {
        const std::lock_guard lock(_mutex);
        _statistics = std::make_unique<GrabStatistics>(checkSettings(_options.limits, _findings, nowNs));
        for (const GrabObserver* const observer : _observers) _keepRows = _keepRows || observer->wantsFrames();
    }
    _lastImageNs = nowNs;
    _nextWatchNs = nowNs + _simulatorWatch.patienceNs;
    std::string error;
    return tellUnless(camera.start({this, &Grab::onImage}, error), error);
}

// Done, or no image in time.
int Grab::waitForEnd() {
    const auto timeoutNs = static_cast<std::int64_t>(_options.timeoutSeconds * 1e9);
    const std::int64_t endNs =
        _options.durationNs != 0 ? _startNs + _options.durationNs : std::numeric_limits<std::int64_t>::max();
    // A requested stop ends the sleep, and so the grab.
    while (_state == State::running &&
           platform_sleepUntil(std::min(platform_monotonicNanoseconds() + kPollNs, endNs))) {
        const std::int64_t nowNs = platform_monotonicNanoseconds();
        _timeIsUp = nowNs >= endNs;
        if (_timeIsUp) return _lastImageNs == _startNs ? kExitNoImage : kExitDone;
        if (nowNs - _lastImageNs > timeoutNs) return kExitNoImage;
        tellFrames();
        lookForSimulator(nowNs);
        if (nowNs - _lookNs >= kSecondNs) tellSecond(nowNs);
        if (!std::ranges::all_of(_observers, &GrabObserver::goesOn)) break;
        if (_saver && !_saver->takesImages()) break;
    }
    return kExitDone;
}

int Grab::tellEnd(bool imageCame) {
    const std::lock_guard lock(_mutex);
    if (_state == State::connectionLost) {
        _people << "dorven-host: the connection to the simulator was lost: the camera fakes images now" << std::endl;
        _statistics->stopped();
        _end = "connection_lost";
        return kExitConnectionLost;
    }
    if (_state == State::noSimulator) {
        _people << "dorven-host: the camera began to fake images before a simulator sent one, and the limits or "
                   "--require-simulator need one; "
                << (_simulatorWatch.runs() ? kSilentSimulator : kNoSimulator) << std::endl;
        _end = "no_simulator";
        return kExitNoImage;
    }
    if (_state == State::callbackFailed) {
        options::tellLogBefore("dorven-host", _people);
        _people << "dorven-host: an image could not be handled: " << _callbackError << std::endl;
        return kExitFailed;
    }
    if (!imageCame) {
        tellNoImage();
        _statistics->stopped();
        _statistics->waitedUntil(_endNs);
        _end = "no_image";
        return kExitNoImage;
    }
    if (_requiresSimulator && _statistics->counts().images == 0) {
        _people << "dorven-host: stopped before an image came; "
                << (_simulatorWatch.runs() ? kSilentSimulator : kNoSimulator) << std::endl;
        _end = "stop";
        return kExitNoImage;
    }
    if (_state != State::complete) _statistics->waitedUntil(_endNs);
    _end = _state == State::complete ? "count" : _timeIsUp ? "duration" : "stop";
    return kExitDone;
}

void Grab::tellNoImage() {
    const GrabResults counts = _statistics->counts();
    options::tellLogBefore("dorven-host", _people);
    const double waitedS = _timeIsUp ? static_cast<double>(_options.durationNs) / 1e9 : _options.timeoutSeconds;
    _people << "dorven-host: no image came for " << waitedS << " s; ";
    if (!_simulatorWatch.runs()) {
        _people << (_imageCame ? "the simulator has ended: start dorven-simulator again" : kNoSimulator) << std::endl;
    } else if (counts.images > 0) {
        _people << "the simulator may hang or be paused" << std::endl;
    } else if (counts.stale > 0) {
        _people << counts.stale << " had waited from before the grab: the simulator may hang or be paused" << std::endl;
    } else {
        _people << "another host may hold the camera's images, or one was killed: restart the simulator" << std::endl;
    }
}

// Once a second, as long as no image came: a simulator may still come.
void Grab::lookForSimulator(std::int64_t nowNs) {
    _noSimulator = _noSimulator && !_imageCame;
    if (_imageCame || nowNs < _nextWatchNs) return;
    _nextWatchNs = nowNs + kSecondNs;
    _noSimulator = !_simulatorWatch.runs();
    if (!_noSimulator || std::exchange(_toldNoSimulator, true)) return;
    if (std::ranges::none_of(_observers, &GrabObserver::showsAdvice))
        _people << "dorven-host: " << kNoSimulator << std::endl;
}

void Grab::tellSecond(std::int64_t nowNs) {
    if (_observers.empty()) return;
    SecondNumbers numbers;
    numbers.noSimulator = _noSimulator;
    _spareInterval.clear();
    {
        const std::lock_guard lock(_mutex);  // only briefly: the callback must not wait for the evaluation
        _statistics->exchangeInterval(_spareInterval);
        numbers.totals = _statistics->counts();
    }
    const std::int64_t cpuNs = platform_processCpuNanoseconds();
    numbers.elapsedS = static_cast<double>(nowNs - _startNs) / 1e9;
    numbers.lengthS = static_cast<double>(nowNs - _lookNs) / 1e9;
    numbers.second = _spareInterval.measures(numbers.lengthS);
    numbers.second.cpuPercent = percentOf(cpuNs - _lookCpuNs, nowNs - _lookNs);
    _lookNs = nowNs;
    _lookCpuNs = cpuNs;
    for (GrabObserver* const observer : _observers) observer->onSecond(numbers);
}

void Grab::tellFrames() {
    if (!_keepRows) return;
    _spareRows.clear();
    {
        const std::lock_guard lock(_mutex);
        std::swap(_rows, _spareRows);
    }
    if (_spareRows.empty()) return;
    for (GrabObserver* const observer : _observers)
        if (observer->wantsFrames()) observer->onFrames(_spareRows);
}

// On the plugin's acquisition thread: nothing may be thrown into it.
int Grab::onImage(void* self, NUV::IMAGEMEMORY* record) {
    const std::int64_t arrivalNs = platform_monotonicNanoseconds();
    auto& grab = *static_cast<Grab*>(self);
    try {
        grab.receive(*record, arrivalNs);
        return 0;
    } catch (const std::exception& exception) {
        const std::lock_guard lock(grab._mutex);
        grab._callbackError = options::exceptionText(exception);
    } catch (...) {
        const std::lock_guard lock(grab._mutex);
        grab._callbackError = "unknown reason";
    }
    grab._state = State::callbackFailed;
    return 1;
}

// Slots have the simulator's size, the record the camera's, so an image may extend beyond the mapped memory.
frames::ImageView Grab::viewOf(const NUV::IMAGEMEMORY& record, std::int64_t nowNs) {
    const auto format = formatOf(record);
    if (format && (!record.imageBuffer || canRead(record.imageBuffer, format->bytes(), nowNs)))
        return {record.imageBuffer, *format};
    throw std::runtime_error("the simulator's images are smaller than the camera's " + std::to_string(record.width) +
                             "x" + std::to_string(record.height) + "; give both the same --config");
}

bool Grab::canRead(const std::uint8_t* pixels, std::size_t bytes, std::int64_t nowNs) {
    const auto begin = reinterpret_cast<std::uintptr_t>(pixels);
    const auto known = [&] { return begin >= _extentBegin && begin < _extentEnd && bytes <= _extentEnd - begin; };
    if (nowNs < _extentSeenNs + kExtentNs && known()) return true;
    const std::size_t readable = platform_readableBytes(pixels);
    _extentBegin = begin;
    _extentEnd = begin + std::min(readable, std::numeric_limits<std::uintptr_t>::max() - begin);
    _extentSeenNs = nowNs;
    return known();
}

void Grab::receive(const NUV::IMAGEMEMORY& record, std::int64_t arrivalNs) {
    if (_state != State::running) return;
    const frames::ImageView image = viewOf(record, arrivalNs);
    const frames::Inspection inspection = _inspector.inspect(image);
    const std::lock_guard lock(_mutex);
    _imageCame = true;
    const bool isFaked = inspection.kind == frames::ImageKind::faked;
    if (isFaked && _requiresSimulator && onlyFakedCame()) {
        _state = State::noSimulator;  // none of them is taken for an image of this grab
        return;
    }
    const std::uint64_t number = _statistics->images();
    const ReceivedImage received{inspection, image.format, record.imageCounter, record.timeStamp, arrivalNs};
    const GrabStatistics::Told told = _statistics->add(received);
    if (told.fromBefore) return;
    if (_keepRows) keepRow(received, told);
    if (_saver) _saver->offer(image, noteOf(record, inspection, number, arrivalNs), _statistics->counts().lost > 0);
    _lastImageNs = arrivalNs;
    if (isFaked && (_requiresSimulator || _statistics->check().sawSimulator())) {
        _state = State::connectionLost;
    } else if (_options.imageCount != 0 && number + 1 >= _options.imageCount) {
        _state = State::complete;
    }
}

// Under the lock.
bool Grab::onlyFakedCame() const {
    const GrabResults counts = _statistics->counts();
    return counts.images == counts.faked && counts.stale == 0;
}

void Grab::keepRow(const ReceivedImage& image, const GrabStatistics::Told& told) {
    if (_rows.size() >= kMaxRows) {
        ++_framesOmitted;
        return;
    }
    FrameRow row;
    row.image = _statistics->images() - 1;
    row.kind = image.inspection.kind;
    row.number = told.number;
    if (image.inspection.strip) row.timeStampNs = image.inspection.strip->timeStampNs;
    row.counter = image.counter;
    row.recordTimeStampUs = image.timeStampUs;
    row.arrivalNs = image.arrivalNs;
    row.periodNs = told.periodNs;
    row.latencyNs = told.latencyNs;
    _rows.push_back(row);
}

GrabResults Grab::results() const {
    const std::lock_guard lock(_mutex);
    if (!_statistics) return {};
    GrabResults results = _statistics->results();
    if (_endNs > _startNs) {
        results.durationS = static_cast<double>(_endNs - _startNs) / 1e9;
        results.cpuPercent = percentOf(_endCpuNs - _startCpuNs, _endNs - _startNs);
    }
    if (_saver) {
        const ImageSaver::Outcome outcome = _saver->outcome();
        results.saved = outcome.saved;
        results.notSaved = outcome.notSaved();
        results.notSavedReason = outcome.reason();
    }
    return results;
}

FindingList Grab::findings() const {
    const std::lock_guard lock(_mutex);
    return _statistics ? _statistics->check().findings() : FindingList(0);
}

std::uint64_t Grab::framesOmitted() const {
    const std::lock_guard lock(_mutex);
    return _framesOmitted;
}

ImageSaver::Outcome Grab::saved() const { return _saver ? _saver->outcome() : ImageSaver::Outcome{}; }

}  // namespace host
