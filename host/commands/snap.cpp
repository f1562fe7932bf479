#include "snap.h"

#include <atomic>
#include <exception>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "camera_session.h"
#include "exception_text.h"
#include "frame_ring.h"
#include "image_record.h"
#include "image_writer.h"
#include "inspection.h"
#include "output_file.h"
#include "platform.h"
#include "program_log.h"
#include "readable_extent.h"
#include "save_options.h"
#include "sidecar.h"
#include "simulator_presence.h"

namespace host {
namespace {

constexpr std::int64_t kPollNs = 5'000'000;
constexpr std::int64_t kPatienceNs = 2'000'000'000;  // time without an image after which a simulator is looked for

// Receives images until a suitable one comes.
class Catcher {
public:
    Catcher(bool any, std::int64_t startNs) : _any(any), _startNs(startNs) {}

    /// True once there is an image, or one could not be processed.
    bool done() const { return _done; }

    /// @throws std::runtime_error  when an image could not be processed.
    std::optional<KeptFrame> take() {
        const std::lock_guard lock(_mutex);
        if (!_error.empty()) throw std::runtime_error(_error);
        return std::move(_caught);
    }
    std::uint64_t passed() const { return _passed; }

    // On the plugin's acquisition thread: nothing may be thrown into it.
    static int onImage(void* self, NUV::IMAGEMEMORY* record) {
        const std::int64_t arrivalNs = platform_monotonicNanoseconds();
        auto& catcher = *static_cast<Catcher*>(self);
        if (catcher._done) return 0;
        const std::lock_guard lock(catcher._mutex);
        try {
            catcher.receive(*record, arrivalNs);
        } catch (const std::exception& exception) {
            catcher._error = "an image could not be handled: " + options::exceptionText(exception);
            catcher._done = true;
        }
        return 0;
    }

private:
    void receive(const NUV::IMAGEMEMORY& record, std::int64_t arrivalNs) {
        const frames::ImageView image = viewOf(record);
        const frames::Inspection inspection = _inspector.inspect(image);
        if (!wanted(image, inspection)) {
            ++_passed;
            return;
        }
        KeptFrame frame{{}, image.format, noteOf(record, inspection, _passed, arrivalNs)};
        frame.bytes.assign(image.pixels, image.pixels + image.format.bytes());
        _caught = std::move(frame);
        _done = true;
    }

    // Slots have the simulator's size, the record the camera's, so an image may extend beyond the mapped memory.
    static frames::ImageView viewOf(const NUV::IMAGEMEMORY& record) {
        const auto format = formatOf(record);
        if (!format || (record.imageBuffer && platform_readableBytes(record.imageBuffer) < format->bytes()))
            throw std::runtime_error(
                "the simulator's images are smaller than the camera's; give both the same --config");
        return {record.imageBuffer, *format};
    }

    bool wanted(const frames::ImageView& image, const frames::Inspection& inspection) const {
        if (!image.pixels) return false;
        if (_any) return true;
        return inspection.kind == frames::ImageKind::simulated &&
               static_cast<std::int64_t>(inspection.strip->timeStampNs) >= _startNs;
    }

    const bool _any;
    const std::int64_t _startNs;
    frames::ImageInspector _inspector;
    std::atomic<bool> _done{false};
    std::atomic<std::uint64_t> _passed{0};
    std::mutex _mutex;
    std::optional<KeptFrame> _caught;
    std::string _error;
};

void waitFor(const Catcher& catcher, double timeoutSeconds, std::ostream& people) {
    const std::int64_t startNs = platform_monotonicNanoseconds();
    const std::int64_t endNs = startNs + static_cast<std::int64_t>(timeoutSeconds * 1e9);
    bool looked = false;
    while (!catcher.done()) {
        const std::int64_t nowNs = platform_monotonicNanoseconds();
        if (!looked && nowNs >= startNs + kPatienceNs) {
            looked = true;
            if (!simulatorRuns()) people << "dorven-host: " << kNoSimulator << std::endl;
        }
        if (nowNs >= endNs || !platform_sleepUntil(nowNs + kPollNs)) return;
    }
}

bool write(const KeptFrame& frame, const SnapOptions& options, std::string& error) {
    std::vector<std::uint8_t> file;
    if (encodeSaved({frame.bytes.data(), frame.format}, fileFormatOf(options.format), file, error,
                    frames::kDefaultPngLevel, options.stretchBits)) {
        ImageStream stream(streamSettingsOf(options.format, options.bits, 1));
        if (!stream.takes(frame.format, error)) return false;
        return stream.write(frame, file, error);
    }
    error = "standard output: " + error;
    return false;
}

bool save(const KeptFrame& frame, const SnapOptions& options, std::string& error) {
    if (isStandardOutput(options.file)) return write(frame, options, error);
    std::vector<std::uint8_t> file;
    const auto format = frames::imageFileFormatOf(formatByEnding(options.file));
    if (!encodeSaved({frame.bytes.data(), frame.format}, format.value_or(frames::ImageFileFormat::png), file, error,
                     frames::kDefaultPngLevel, options.stretchBits)) {
        error = options.file + ": " + error;
        return false;
    }
    return writeWholeFile(options.file, file.data(), file.size(),
                          options.force ? ExistingFile::replace : ExistingFile::refuse, error);
}

void tell(const KeptFrame& frame, const SnapOptions& options, std::ostream& data) {
    if (options.json) {
        data << sidecarLine(options.file, frame.note, frame.format) << std::flush;
        return;
    }
    data << (isStandardOutput(options.file) ? "wrote a picture to standard output" : "saved " + options.file) << ": "
         << frame.format.width << " x " << frame.format.height << " pixels, " << frame.format.bytesPerPixel
         << (frame.format.bytesPerPixel == 1 ? " byte" : " bytes") << " per pixel, "
         << frames::imageKindName(frame.note.kind);
    if (frame.note.frameNumber) data << ", frame " << *frame.note.frameNumber;
    data << std::endl;
}

}  // namespace

int snap(NUV::PluginDeviceBase& device, const SnapOptions& options, std::ostream& data, std::ostream& people) {
    if (!isStandardOutput(options.file) && !options.force && _access(options.file.c_str(), 0) == 0) {
        people << "dorven-host: " << options.file << ": it exists already; --force replaces it" << std::endl;
        return kExitFailed;
    }
    const auto fail = [&people](const std::string& reason) {
        options::tellLogBefore("dorven-host", people);
        people << "dorven-host: " << reason << std::endl;
        return kExitFailed;
    };
    std::string error;
    Catcher catcher(options.anyImage, platform_monotonicNanoseconds());
    CameraSession camera(device);
    if (!camera.claim(options.share, error) || !camera.open(options.configFile, error) ||
        !camera.start({&catcher, &Catcher::onImage}, error))
        return fail(error);
    waitFor(catcher, options.timeoutSeconds, people);
    if (!camera.stop(error)) fail(error);
    const auto frame = catcher.take();
    if (!frame) {
        if (platform_stopRequested()) {
            people << "dorven-host: stopped before an image came" << std::endl;
            return kExitNoImage;
        }
        people << "dorven-host: no " << (options.anyImage ? "" : "simulated ") << "image came for "
               << options.timeoutSeconds << " s";
        if (catcher.passed() > 0) people << ", but " << catcher.passed() << " others; --any takes those";
        if (!simulatorRuns()) people << "; " << kNoSimulator;
        people << std::endl;
        return kExitNoImage;
    }
    if (!save(*frame, options, error)) return fail(error);
    tell(*frame, options, isStandardOutput(options.file) ? people : data);
    return kExitDone;
}

}  // namespace host
