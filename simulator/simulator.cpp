#include "simulator.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "fault_log_words.h"
#include "image_choice.h"
#include "memory_budget.h"
#include "platform.h"
#include "strip_advice.h"

namespace simulator {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int kFailed = 1;
const char kProgram[] = "dorven-simulator: ";

/// The camera gets this long to answer before the first image; later answers are used as well.
constexpr std::chrono::milliseconds kFirstAnswer{500};

/// Between images that are far apart, the camera and a ring that waits for its memory are looked at that often.
constexpr std::int64_t kLookNs = 100'000'000;

/// The options with --duration as a number of frames, where that is the smaller one. Live pictures come at times of
/// their own: the clock ends these.
SimulatorOptions inFrames(SimulatorOptions options, const ImageSource& source) {
    PacingOptions& pacing = options.pacing;
    if (pacing.durationNs == 0 || source.isLive()) return options;
    const std::uint64_t frames = PacingGrid(0, pacing.framesPerSecond).latestAt(pacing.durationNs - 1) + 1;
    if (pacing.frameCount != 0 && pacing.frameCount <= frames) {
        pacing.durationNs = 0;
    } else {
        pacing.frameCount = frames;
    }
    return options;
}

}  // namespace

Simulator::Simulator(const SimulatorOptions& options, ImageSource& source, std::ostream& people, CameraLink* camera,
                     Faults* faults)
    : _options(inFrames(options, source)),
      _source(&source),
      _firstSource(source),
      _people(people),
      _camera(camera),
      _faults(faults),
      _ring(source.format().bytes(), options.delivery.lineCount, camera ? ringRoomFor(options) : 0),
      _delivery(_options.delivery, options.pacing.framesPerSecond, _ring, _timer, faults ? faults->log() : nullptr,
                _totals),
      _reader(std::llround(options.delivery.readerTimeoutSeconds * 1e9)) {
    if (_faults) _delivery.setTearing(_faults->has(FaultKind::torn));
}

int Simulator::run() {
    if (_camera && !_camera->refusal().empty()) {
        _people << kProgram << _camera->refusal() << "; --no-ask does without the link" << std::endl;
        return kFailed;
    }
    if (_camera && !_camera->waitForNews(kFirstAnswer))
        progress() << kProgram << "no camera answers yet; going on without, and asking again" << std::endl;
    followCamera();
    tellFormat();
    FaultLog* const log = _faults ? _faults->log() : nullptr;
    if (log) log->run(_faults->seed(), PacingGrid(0, _options.pacing.framesPerSecond).periodNs(), format());
    ImageRing::OpenResult result = openRing();
    while (result == ImageRing::OpenResult::tooSmall) {
        if (!platform_sleepUntil(platform_monotonicNanoseconds() + kNanosecondsPerSecond)) break;
        followCamera();
        result = openRing();
    }
    bool failed = result == ImageRing::OpenResult::otherWriter || result == ImageRing::OpenResult::failed;
    if (result == ImageRing::OpenResult::opened) failed = !deliverOnGrid();
    _delivery.deliverHeld();
    _ring.close();
    if (log) log->end(_nextFrame, _totals.ringDamaged);
    tellTotals();
    return failed || _sourceFailed ? kFailed : 0;
}

ImageRing::OpenResult Simulator::openRing() {
    const ImageRing::OpenResult result = _ring.open();
    _delivery.ringLaid();
    switch (result) {
        case ImageRing::OpenResult::opened:
            _laid = true;
            break;
        case ImageRing::OpenResult::tooSmall:
            if (!_toldTooSmall) {
                _people << kProgram << "a host still holds smaller image memory from before; waiting until it lets go ("
                        << _ring.memoryBytes() << " bytes are needed)" << std::endl;
            }
            _toldTooSmall = true;
            break;
        case ImageRing::OpenResult::otherWriter:
            _people << kProgram << "another simulator is running; end it first" << std::endl;
            break;
        case ImageRing::OpenResult::failed:
            _people << kProgram << _ring.problem() << std::endl;
            break;
    }
    return result;
}

void Simulator::deliver(std::uint64_t frameNumber) {
    lookAfterRing();
    std::optional<std::int64_t> completeNs;
    if (_stalled && frameNumber < _stalled->first) completeNs = _stalled->second.dueNs(frameNumber);
    std::vector<Strike> strikes;
    if (_faults) strikes = _faults->strikesAt(frameNumber);
    if (_delivery.deliver(*_source, frameNumber, strikes, completeNs)) _nextFrame = frameNumber + 1;
}

/// @return False when there is no ring any more.
bool Simulator::deliverOnGrid() {
    const std::int64_t startNs = platform_monotonicNanoseconds();
    if (_options.pacing.durationNs != 0) _endNs = startNs + _options.pacing.durationNs;
    if (!deliverFrames({startNs, _options.pacing.framesPerSecond})) return false;
    if (_options.pacing.durationNs != 0 && !_source->isLive()) sleepUntil(_endNs);
    return true;
}

/// @return False when there is no ring any more.
bool Simulator::deliverFrames(PacingGrid grid) {
    for (std::uint64_t frame = 0; isWanted(frame);) {
        if (_source->isLive() && !awaitPicture(grid, frame)) return true;
        if (!drawInTime(grid, frame) || !sleepUntil(grid.dueNs(frame))) return true;
        if (!ringIsThere()) return false;
        if (_faults && _faults->applyChange(frame)) _delivery.setTearing(_faults->has(FaultKind::torn));
        const std::uint64_t due = skipLate(grid, frame);
        const auto next = strikeSlots(grid, {frame, due});
        if (!next) return true;
        if (*next == due) deliver(due);
        frame = std::max(*next, _nextFrame);
    }
    return true;
}

/// Waits for a live picture. One that comes after its slot is delivered at once, and moves the grid: those behind it
/// count from there, and none is late.
/// @return False when none comes any more, a stop was requested, or the duration is over.
bool Simulator::awaitPicture(PacingGrid& grid, std::uint64_t frame) {
    using Supply = ImageSource::Supply;
    Supply supply = Supply::waiting;
    while (supply == Supply::waiting) {
        const std::int64_t nowNs = platform_monotonicNanoseconds();
        if (platform_stopRequested() || nowNs >= _endNs) return false;
        supply = _source->await(std::min(nowNs + kLookNs, _endNs));
        followCamera();
        if (_faults) _faults->look();
    }
    if (supply == Supply::failed) {
        _people << kProgram << _source->problem() << std::endl;
        _sourceFailed = true;
    }
    if (supply != Supply::ready) return false;
    const std::int64_t nowNs = platform_monotonicNanoseconds();
    if (nowNs > grid.dueNs(frame)) grid = PacingGrid(nowNs - grid.offsetNs(frame), _options.pacing.framesPerSecond);
    return true;
}

/// Draws a frame in the middle between the previous slot and its own. Not right after the previous slot: the process
/// that was woken by that image may now be running on this processor.
/// @return False when a stop was requested.
bool Simulator::drawInTime(const PacingGrid& grid, std::uint64_t frame) {
    if (!sleepUntil(grid.dueNs(frame) - grid.periodNs() / 2, false)) return false;
    if (platform_monotonicNanoseconds() < grid.dueNs(frame)) _delivery.drawAhead(*_source, frame);
    return true;
}

/// The frame to deliver now instead of the next one.
std::uint64_t Simulator::skipLate(const PacingGrid& grid, std::uint64_t frame) {
    if (_options.pacing.late == LatePolicy::burst) return frame;
    // What the ring can accept at once.
    const std::uint64_t tolerated = _options.delivery.lineCount / 2;
    std::uint64_t due = grid.frameToDeliver(frame, platform_monotonicNanoseconds(), tolerated);
    if (_options.pacing.frameCount != 0) due = std::min(due, _options.pacing.frameCount - 1);
    if (due == frame) return due;
    _totals.skipped += due - frame;
    _delivery.tellNote(frames::fault_log::kSkipped, {frame, due - 1});
    return due;
}

void Simulator::lookAfterRing() {
    if (const auto damage = _ring.damage()) return recreateDamagedRing(*damage);
    lookAfterReader();
}

/// The damaged values were never used, but a reader that read them takes no image until it can attach to a new ring.
void Simulator::recreateDamagedRing(const LineFifoDamage& damage) {
    const std::vector<std::uint64_t> unread = takeUnread();
    for (const FrameRange& lost : rangesOf(unread)) _delivery.tellNote(frames::fault_log::kRingDamaged, lost);
    if (_totals.ringDamaged++ == 0) {
        _people << kProgram << "another process has overwritten the ring's " << damage.field << " with " << damage.found
                << " (" << damage.known << ' ' << damage.number
                << "). The ring is recreated; unread images lost: " << unread.size()
                << ". Look for a stray write in the host; further ones are counted in the totals" << std::endl;
    }
    _ring.recreate();
    _delivery.ringLaid();
    _reader.roomSeen();
}

/// A dead reader would leave the ring full for ever.
void Simulator::lookAfterReader() {
    if (!_ring.isOpen() || _ring.waiting() < _options.delivery.lineCount) return _reader.roomSeen();
    if (!_reader.isDead(_ring.readerIndex(), platform_monotonicNanoseconds())) return;
    _people << kProgram << "the reader has not moved for " << _options.delivery.readerTimeoutSeconds
            << " s; the ring is laid anew, and " << _ring.waiting() << " images are lost" << std::endl;
    for (const FrameRange& lost : rangesOf(takeUnread())) _delivery.tellNote(frames::fault_log::kRingLaid, lost);
    _ring.recreate();
    _delivery.ringLaid();
}

/// Follows the camera before it sleeps, because there is time then.
/// @return False when a stop was requested.
bool Simulator::sleepUntil(std::int64_t dueNs, bool exactly) {
    for (;;) {
        followCamera();
        if (_faults) _faults->look();
        const bool looking = _camera || (_faults && _faults->watches());
        const std::int64_t untilNs = looking ? std::min(dueNs, platform_monotonicNanoseconds() + kLookNs) : dueNs;
        if (!(exactly ? _timer.sleepUntil(untilNs) : _timer.sleepUntilAbout(untilNs))) return false;
        if (untilNs == dueNs) return true;
    }
}

void Simulator::followCamera() {
    const auto news = _camera ? _camera->takeNews() : std::nullopt;
    if (!news) return;
    switch (news->kind) {
        case CameraNews::Kind::format:
            return takeFormat(news->format);
        case CameraNews::Kind::silent:
            _people << kProgram << "the camera does not answer any more; going on with ";
            break;
        case CameraNews::Kind::absurd:
            _people << kProgram << "the camera says " << formatText(news->format)
                    << ", which cannot be made; going on with ";
            break;
        case CameraNews::Kind::unavailable:
            _people << kProgram << news->problem << "; going on with ";
            break;
    }
    _people << formatText(format()) << std::endl;
}

void Simulator::takeFormat(const frames::ImageFormat& camera) {
    const std::string told = kProgram + ("the camera has " + formatText(camera));
    // Pictures are not loaded again for a camera that only has been opened anew: images go on meanwhile.
    if (formatFor(_options, camera) == format()) {
        progress() << told << (format() == camera ? "" : ", but the options ask for " + formatText(format()))
                   << std::endl;
        return;
    }
    std::string problem;
    std::unique_ptr<ImageSource> source;
    try {
        source = makeImageSource(_options, problem, camera, heldMemory());
    } catch (const std::bad_alloc&) {
        problem = "out of memory";
    }
    if (!source) {
        _people << told << "; " << problem << "; going on with " << formatText(format()) << std::endl;
        return;
    }
    progress() << told << std::endl;
    changeSource(std::move(source));
}

HeldMemory Simulator::heldMemory() const {
    const std::size_t first = _cameraSource ? _firstSource.memoryBytes() : 0;
    return {first + _source->memoryBytes(), _ring.isOpen() ? _ring.memoryBytes() : 0};
}

/// Frame numbers continue. If the ring cannot be created at once, this is tried again; if there is no memory at all for
/// it, the old one is recreated.
void Simulator::changeSource(std::unique_ptr<ImageSource> source) {
    _delivery.deliverHeld();
    for (const FrameRange& lost : rangesOf(takeUnread())) _delivery.tellNote(frames::fault_log::kRingLaid, lost);
    ImageSource* const former = _source;
    _source = source.get();
    _ring.setImageBytes(format().bytes());
    _toldTooSmall = false;
    if (_laid && openRing() == ImageRing::OpenResult::failed) {
        _source = former;
        _ring.setImageBytes(format().bytes());
        _people << kProgram << "going on with " << formatText(format()) << std::endl;
        openRing();
        return;
    }
    _cameraSource = std::move(source);
    if (_laid) tellStrip();
}

/// Tries again, now and then, to lay a ring that is not; while somebody holds smaller memory, frames are refused.
/// @return False when there will be none.
bool Simulator::ringIsThere() {
    if (_ring.isOpen()) return true;
    const std::int64_t nowNs = platform_monotonicNanoseconds();
    if (nowNs < _nextOpenNs) return true;
    _nextOpenNs = nowNs + kLookNs;
    const ImageRing::OpenResult result = openRing();
    return result == ImageRing::OpenResult::opened || result == ImageRing::OpenResult::tooSmall;
}

void Simulator::tellFormat() {
    progress() << kProgram << formatText(format()) << ", " << rateText(_options.pacing.framesPerSecond)
               << " images per second, ring of " << _options.delivery.lineCount << " ("
               << (_ring.memoryBytes() + 999'999) / 1'000'000 << " MB)"
               << (_options.pacing.frameCount == 0 ? "; Ctrl-C ends" : "") << std::endl;
    tellStrip();
}

void Simulator::tellStrip() {
    const frames::StripWish& wish = _options.pattern.settings.strip;
    std::string advice = striplessAdvice(format(), wish);
    if (advice.empty() && _options.delivery.strip) advice = stripShareAdvice(format(), _source->strip());
    if (!advice.empty()) _people << kProgram << advice << std::endl;
}

void Simulator::tellTotals() {
    std::ostream& answer = *_answer;
    answer << kProgram << "written " << _totals.written << ", refused by the full ring " << _totals.refused
           << ", skipped as too late " << _totals.skipped;
    if (_totals.unread != 0) answer << ", unread in a ring laid anew " << _totals.unread;
    if (_totals.ringDamaged != 0) answer << ", ring damaged " << _totals.ringDamaged;
    if (_totals.faults != 0) answer << ", faults provoked " << _totals.faults;
    answer << std::endl;
}

}  // namespace simulator
