#include "simulator.h"

#include <exception>
#include <iostream>
#include <new>

#include "camera_config.h"
#include "platform.h"
#include "strip.h"

namespace simulator {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int kFailed = 1;
const char kProgram[] = "dorven-simulator: ";

double seconds(std::int64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1e9; }

// Format of the images: the options, then the configuration file. Size none: neither tells.
bool wantedFormat(const SimulatorOptions& options, std::optional<frames::ImageFormat>& size, std::size_t& bytesPerPixel,
                  std::string& error) {
    if (!options.configFile.empty() && !readCameraFormat(options.configFile, size.emplace(), error)) return false;
    bytesPerPixel = options.bytesPerPixel.value_or(size ? size->bytesPerPixel : kDefaultFormat.bytesPerPixel);
    if (options.size) size = options.size;
    return true;
}

}  // namespace

std::unique_ptr<ImageSource> makeImageSource(const SimulatorOptions& options, std::string& error) {
    std::optional<frames::ImageFormat> size;
    std::size_t bytesPerPixel = 0;
    if (!wantedFormat(options, size, bytesPerPixel, error)) return nullptr;
    if (!options.imageFolder.empty()) return ReplayedImages::load(options.imageFolder, size, bytesPerPixel, error);
    frames::ImageFormat format = size.value_or(kDefaultFormat);
    format.bytesPerPixel = bytesPerPixel;
    return std::make_unique<RenderedImages>(format);
}

Simulator::Simulator(const SimulatorOptions& options, ImageSource& source, std::ostream& people)
    : _options(options),
      _source(source),
      _people(people),
      _ring(source.format().bytes(), options.lineCount),
      _periodNs(periodOf(options.framesPerSecond)) {}

int Simulator::run() {
    tellStart();
    ImageRing::OpenResult result = openRing();
    while (result == ImageRing::OpenResult::tooSmall) {
        if (!platform_sleepUntil(platform_monotonicNanoseconds() + kNanosecondsPerSecond)) break;
        result = openRing();
    }
    if (result == ImageRing::OpenResult::opened) deliverOnGrid();
    _ring.close();
    tellTotals();
    return result == ImageRing::OpenResult::otherWriter || result == ImageRing::OpenResult::failed ? kFailed : 0;
}

ImageRing::OpenResult Simulator::openRing() {
    const ImageRing::OpenResult result = _ring.open();
    _drawnInSlot.assign(_options.lineCount + 1, std::nullopt);
    switch (result) {
        case ImageRing::OpenResult::opened:
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
    const std::uint32_t crc = _source.draw(pixels, frameNumber, drawn);
    drawn = frameNumber;
    const std::int64_t nowNs = platform_monotonicNanoseconds();
    frames::stampStrip({pixels, _source.format()},
                       {_source.stripFlags(), frameNumber, static_cast<std::uint64_t>(nowNs), crc});
    _ring.publish({frameNumber, seconds(nowNs), seconds(_periodNs)});
    ++_totals.written;
}

void Simulator::deliverOnGrid() {
    const PacingGrid grid(platform_monotonicNanoseconds(), _periodNs);
    const std::uint64_t tolerated = _options.lineCount / 2;  // what the ring can take at once
    for (std::uint64_t frame = 0; _options.frameCount == 0 || frame < _options.frameCount; ++frame) {
        if (!platform_sleepUntil(grid.dueNs(frame))) return;
        std::uint64_t due = grid.frameToDeliver(frame, platform_monotonicNanoseconds(), tolerated);
        if (_options.frameCount != 0) due = std::min(due, _options.frameCount - 1);
        _totals.skipped += due - frame;
        frame = due;
        deliver(frame);
    }
}

void Simulator::tellStart() {
    const frames::ImageFormat& format = _source.format();
    _people << kProgram << format.width << " x " << format.height << " pixels, " << format.bytesPerPixel
            << (format.bytesPerPixel == 1 ? " byte" : " bytes") << " per pixel, " << _options.framesPerSecond
            << " images per second, ring of " << _options.lineCount << " ("
            << (_ring.memoryBytes() + 999'999) / 1'000'000 << " MB)"
            << (_options.frameCount == 0 ? "; Ctrl-C ends" : "") << std::endl;
    if (stripLines(format) == 0)
        _people << kProgram << "images this small carry no strip, so a host cannot verify them" << std::endl;
}

void Simulator::tellTotals() {
    _people << kProgram << "written " << _totals.written << ", refused by the full ring " << _totals.refused
            << ", skipped as too late " << _totals.skipped << std::endl;
}

int simulatorMain(int argc, const char* const* argv) {
    try {
        SimulatorOptions options;
        if (const auto exitCode = parseSimulatorOptions(argc, argv, options, std::cout, std::cerr)) return *exitCode;
        std::string error;
        const auto source = makeImageSource(options, error);
        if (!source) {
            std::cerr << kProgram << error << std::endl;
            return kFailed;
        }
        platform_installStopHandler();
        return Simulator(options, *source, std::cerr).run();
    } catch (const std::bad_alloc&) {
        std::cerr << kProgram << "out of memory" << std::endl;
    } catch (const std::exception& exception) {
        std::cerr << kProgram << exception.what() << std::endl;
    }
    return kFailed;
}

}  // namespace simulator
