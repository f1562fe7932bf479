#include "simulator.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <new>

#include "ask.h"
#include "camera_config.h"
#include "platform.h"
#include "strip.h"

namespace simulator {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int kFailed = 1;
const char kProgram[] = "dorven-simulator: ";

/// The camera gets that long to answer before the first image; later answers count as well.
constexpr std::chrono::milliseconds kFirstAnswer{500};

/// Between images that are far apart, the camera and a ring that waits for its memory are looked at that often.
constexpr std::int64_t kLookNs = 100'000'000;

/// More frames than the grid's clock has room for.
constexpr std::uint64_t kAllFrames = UINT64_MAX;

double seconds(std::int64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1e9; }

double frameTime(const FrameRate& rate) { return static_cast<double>(rate.seconds) / static_cast<double>(rate.frames); }

// Format of the images: the options, then the camera, then the configuration file. Size none: nobody tells.
bool wantedFormat(const SimulatorOptions& options, const std::optional<frames::ImageFormat>& camera,
                  std::optional<frames::ImageFormat>& size, std::size_t& bytesPerPixel, std::string& error) {
    if (camera) {
        size = camera;
    } else if (!options.configFile.empty() && !readCameraFormat(options.configFile, size.emplace(), error)) {
        return false;
    }
    bytesPerPixel = options.bytesPerPixel.value_or(size ? size->bytesPerPixel : kDefaultFormat.bytesPerPixel);
    if (options.size) size = options.size;
    return true;
}

}  // namespace

std::unique_ptr<ImageSource> makeImageSource(const SimulatorOptions& options, std::string& error,
                                             const std::optional<frames::ImageFormat>& camera) {
    std::optional<frames::ImageFormat> size;
    std::size_t bytesPerPixel = 0;
    if (!wantedFormat(options, camera, size, bytesPerPixel, error)) return nullptr;
    if (!options.imageFolder.empty()) return ReplayedImages::load(options.imageFolder, size, bytesPerPixel, error);
    frames::ImageFormat format = size.value_or(kDefaultFormat);
    format.bytesPerPixel = bytesPerPixel;
    return std::make_unique<RenderedImages>(format);
}

Simulator::Simulator(const SimulatorOptions& options, ImageSource& source, std::ostream& people, CameraLink* camera)
    : _options(options),
      _source(&source),
      _people(people),
      _camera(camera),
      // Room to grow, as far as the camera may ask for larger images.
      _ring(source.format().bytes(), options.lineCount, camera && !options.size ? kDefaultFormat.bytes() : 0) {}

int Simulator::run() {
    if (_camera && !_camera->waitForNews(kFirstAnswer))
        _people << kProgram << "no camera answers yet; going on without, and asking again" << std::endl;
    followCamera();
    tellFormat();
    ImageRing::OpenResult result = openRing();
    while (result == ImageRing::OpenResult::tooSmall) {
        if (!platform_sleepUntil(platform_monotonicNanoseconds() + kNanosecondsPerSecond)) break;
        followCamera();
        result = openRing();
    }
    bool failed = result == ImageRing::OpenResult::otherWriter || result == ImageRing::OpenResult::failed;
    if (result == ImageRing::OpenResult::opened) failed = !deliverOnGrid();
    _ring.close();
    tellTotals();
    return failed ? kFailed : 0;
}

ImageRing::OpenResult Simulator::openRing() {
    const ImageRing::OpenResult result = _ring.open();
    _drawnInSlot.assign(_options.lineCount + 1, std::nullopt);
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
            _people << kProgram << "another simulator is running" << std::endl;
            break;
        case ImageRing::OpenResult::failed:
            _people << kProgram << "no shared memory of " << _ring.memoryBytes() << " bytes for the images"
                    << std::endl;
            break;
    }
    return result;
}

void Simulator::deliver(std::uint64_t frameNumber) {
    std::uint8_t* const pixels = _ring.slotPixels();
    if (!pixels) {
        ++_totals.refused;
        _ring.wakeReader();
        return;
    }
    std::optional<std::uint64_t>& drawn = _drawnInSlot[_ring.slotIndex()];
    const std::uint32_t crc = _source->draw(pixels, frameNumber, drawn);
    drawn = frameNumber;
    const std::int64_t nowNs = platform_monotonicNanoseconds();
    frames::stampStrip({pixels, _source->format()},
                       {_source->stripFlags(), frameNumber, static_cast<std::uint64_t>(nowNs), crc});
    _ring.publish({frameNumber, seconds(nowNs), frameTime(_options.framesPerSecond)});
    ++_totals.written;
}

/// @return False when there is no ring any more.
bool Simulator::deliverOnGrid() {
    const PacingGrid grid(platform_monotonicNanoseconds(), _options.framesPerSecond);
    // Half a ring, so what it can take at once; all that there are with bursts.
    const std::uint64_t tolerated = _options.late == LatePolicy::burst ? kAllFrames : _options.lineCount / 2;
    for (std::uint64_t frame = 0; _options.frameCount == 0 || frame < _options.frameCount; ++frame) {
        if (!sleepUntil(grid.dueNs(frame))) return true;
        if (!ringIsThere()) return false;
        std::uint64_t due = grid.frameToDeliver(frame, platform_monotonicNanoseconds(), tolerated);
        if (_options.frameCount != 0) due = std::min(due, _options.frameCount - 1);
        _totals.skipped += due - frame;
        frame = due;
        deliver(frame);
    }
    return true;
}

/// Follows the camera before it sleeps: that is when there is time for it.
/// @return False when a stop was requested.
bool Simulator::sleepUntil(std::int64_t dueNs) {
    for (;;) {
        followCamera();
        const std::int64_t untilNs = _camera ? std::min(dueNs, platform_monotonicNanoseconds() + kLookNs) : dueNs;
        if (!_timer.sleepUntil(untilNs)) return false;
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
    _people << kProgram << "the camera has " << formatText(camera);
    std::string problem;
    std::unique_ptr<ImageSource> source;
    try {
        source = makeImageSource(_options, problem, camera);
    } catch (const std::bad_alloc&) {
        problem = "out of memory";
    }
    if (!source) {
        _people << "; " << problem << "; going on with " << formatText(format()) << std::endl;
    } else if (source->format() == format()) {
        _people << (format() == camera ? "" : ", but the options ask for " + formatText(format())) << std::endl;
    } else {
        _people << std::endl;
        changeSource(std::move(source));
    }
}

/// Frame numbers go on. A ring that cannot be laid at once is tried again; one for which there is no memory at all is
/// laid as it was.
void Simulator::changeSource(std::unique_ptr<ImageSource> source) {
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
    if (_laid) tellStripless();
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
    _people << kProgram << formatText(format()) << ", " << rateText(_options.framesPerSecond)
            << " images per second, ring of " << _options.lineCount << " ("
            << (_ring.memoryBytes() + 999'999) / 1'000'000 << " MB)"
            << (_options.frameCount == 0 ? "; Ctrl-C ends" : "") << std::endl;
    tellStripless();
}

void Simulator::tellStripless() {
    if (stripLines(format()) == 0)
        _people << kProgram << "images this small carry no strip, so a host cannot verify them" << std::endl;
}

void Simulator::tellTotals() {
    _people << kProgram << "written " << _totals.written << ", refused by the full ring " << _totals.refused
            << ", skipped as too late " << _totals.skipped << std::endl;
}

std::string formatText(const frames::ImageFormat& format) {
    return std::to_string(format.width) + " x " + std::to_string(format.height) + " pixels, " +
           std::to_string(format.bytesPerPixel) + (format.bytesPerPixel == 1 ? " byte" : " bytes") + " per pixel";
}

int simulatorMain(int argc, const char* const* argv) {
    try {
        SimulatorOptions options;
        if (const auto exitCode = parseSimulatorOptions(argc, argv, options, std::cout, std::cerr)) return *exitCode;
        std::string error;
        platform_installStopHandler();
        if (options.command == SimulatorOptions::Command::ask) return askCamera(options, std::cout, std::cerr);
        const auto source = makeImageSource(options, error);
        if (!source) {
            std::cerr << kProgram << error << std::endl;
            return kFailed;
        }
        std::optional<CameraLink> camera;
        if (options.ask) camera.emplace();
        return Simulator(options, *source, std::cerr, camera ? &*camera : nullptr).run();
    } catch (const std::bad_alloc&) {
        std::cerr << kProgram << "out of memory" << std::endl;
    } catch (const std::exception& exception) {
        std::cerr << kProgram << exception.what() << std::endl;
    }
    return kFailed;
}

}  // namespace simulator
