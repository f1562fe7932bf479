#include "image_saver.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform.h"

namespace host {
namespace {

constexpr std::size_t kMaxQueue = 16;  // images

bool makeFolder(const std::string& folder, std::string& error) {
    std::error_code failure;
    // Narrow texts are UTF-8 in this program; a path of plain char would not be taken for it on Windows.
    const std::filesystem::path path(reinterpret_cast<const char8_t*>(folder.c_str()));
    std::filesystem::create_directories(path, failure);
    if (!failure && std::filesystem::is_directory(path, failure)) return true;
    error = folder + ": cannot be made a folder for images" + (failure ? ": " + failure.message() : "");
    return false;
}

std::string megabytes(std::size_t bytes) { return std::to_string((bytes + 999'999) / 1'000'000) + " MB"; }

// Images that may wait beside those around a loss; 0, with the reason, when the memory is not enough for any.
std::size_t queueFor(const SaveSettings& settings, std::size_t imageBytes, std::string& error) {
    const std::size_t image = std::max<std::size_t>(imageBytes, 1);
    const std::size_t fitting = settings.memoryBytes / image;
    const std::size_t around = 2 * settings.aroundLoss;
    if (fitting > around) return std::min(fitting - around, kMaxQueue);
    error = std::to_string(around + 1) + " images of " + megabytes(imageBytes) +
            " have to be kept in memory, and --save-memory allows " + megabytes(settings.memoryBytes) +
            ": allow more, or fewer images around a loss";
    return 0;
}

}  // namespace

std::unique_ptr<ImageSaver> ImageSaver::create(const SaveSettings& settings, std::string& error) {
    if (!makeFolder(settings.folder, error)) return nullptr;
    std::unique_ptr<ImageSaver> saver(new ImageSaver(settings));
    return saver->_sidecar.open(saver->sidecarPath(), settings.existing, error) ? std::move(saver) : nullptr;
}

bool ImageSaver::reserve(const frames::ImageFormat& expected, std::string& error) {
    _queueCapacity = queueFor(_settings, expected.bytes(), error);
    if (_queueCapacity == 0) return false;
    const std::size_t buffers = _queueCapacity + 2 * _settings.aroundLoss;
    _spareBuffers.reserve(buffers);
    for (std::size_t count = 0; count < buffers; ++count) _spareBuffers.emplace_back(expected.bytes());
    _reservedBytes = buffers * expected.bytes();
    _writer = std::thread(&ImageSaver::run, this);
    return true;
}

ImageSaver::~ImageSaver() { finish(); }

void ImageSaver::offer(const frames::ImageView& image, const FrameNote& note, bool lossSeen) {
    if (lossSeen && !_lossSeen && _settings.aroundLoss > 0) beginLoss(note.image);
    if (_toSaveAfterLoss > 0) {
        --_toSaveAfterLoss;
        enqueue(image, note, true);
        return;
    }
    const bool wanted = _settings.every != 0 && note.image % _settings.every == 0;
    if (wanted && reservePlace()) {
        enqueue(image, note, false);
    } else if (_settings.aroundLoss > 0 && !_lossSeen) {
        keep(image, note, wanted);
    }
}

void ImageSaver::beginLoss(std::uint64_t image) {
    _lossSeen = true;
    _toSaveAfterLoss = _settings.aroundLoss;
    std::deque<KeptFrame> before = _ring.takeAll();
    {
        const std::lock_guard lock(_mutex);
        _outcome.lossImage = image;
        for (KeptFrame& frame : before) {
            if (frame.dropped) --_outcome.dropped;  // it is saved after all
            _queue.push_back({std::move(frame), true});
        }
    }
    _changed.notify_one();
}

// A place of the queue for an image, or one more that was dropped.
bool ImageSaver::reservePlace() {
    const std::lock_guard lock(_mutex);
    if (_placesTaken >= _queueCapacity) {
        ++_outcome.dropped;
        return false;
    }
    ++_placesTaken;
    return true;
}

// The copy runs without the lock, so that the writer goes on meanwhile.
KeptFrame ImageSaver::copyOf(const frames::ImageView& image, const FrameNote& note) {
    KeptFrame frame{{}, image.format, note};
    {
        const std::lock_guard lock(_mutex);
        if (!_spareBuffers.empty()) {
            frame.bytes = std::move(_spareBuffers.back());
            _spareBuffers.pop_back();
        }
    }
    frame.bytes.resize(image.format.bytes());
    std::memcpy(frame.bytes.data(), image.pixels, frame.bytes.size());
    return frame;
}

void ImageSaver::keep(const frames::ImageView& image, const FrameNote& note, bool dropped) {
    for (;;) {
        std::vector<std::uint8_t> buffer = _ring.takeOutOfReach(note.image);
        if (buffer.empty()) break;
        const std::lock_guard lock(_mutex);
        _spareBuffers.push_back(std::move(buffer));
    }
    KeptFrame frame = copyOf(image, note);
    frame.dropped = dropped;
    _ring.push(std::move(frame));
}

void ImageSaver::enqueue(const frames::ImageView& image, const FrameNote& note, bool aroundLoss) {
    try {
        KeptFrame frame = copyOf(image, note);
        const std::lock_guard lock(_mutex);
        _queue.push_back({std::move(frame), aroundLoss});
    } catch (...) {
        const std::lock_guard lock(_mutex);
        if (!aroundLoss) --_placesTaken;
        throw;
    }
    _changed.notify_one();
}

void ImageSaver::finish() {
    {
        const std::lock_guard lock(_mutex);
        _finishing = true;
    }
    _changed.notify_one();
    if (_writer.joinable()) _writer.join();
    if (!_sidecar.isOpen()) return;
    _sidecar.close();
    if (!_sidecarHasLines) _unlink(sidecarPath().c_str());  // or it would stand in the way of the next grab
}

ImageSaver::Outcome ImageSaver::outcome() const {
    const std::lock_guard lock(_mutex);
    return _outcome;
}

void ImageSaver::run() {
    std::unique_lock lock(_mutex);
    for (;;) {
        _changed.wait(lock, [this] { return _finishing || !_queue.empty(); });
        if (_queue.empty()) return;
        Job job = std::move(_queue.front());
        _queue.pop_front();
        lock.unlock();
        write(job);
        lock.lock();
        _spareBuffers.push_back(std::move(job.frame.bytes));
        if (!job.aroundLoss) --_placesTaken;
    }
}

void ImageSaver::write(const Job& job) {
    std::string error;
    bool written = false;
    try {
        written = writeFiles(job.frame, error);
    } catch (const std::exception& exception) {
        error = exception.what();
    }
    const std::lock_guard lock(_mutex);
    if (written) {
        ++_outcome.saved;
        return;
    }
    if (_outcome.failed++ == 0) _outcome.firstError = error;
}

bool ImageSaver::writeFiles(const KeptFrame& frame, std::string& error) {
    if (!_sidecarError.empty()) {
        error = _sidecarError;
        return false;
    }
    char name[48];
    platform_format(name, sizeof name, "image_%06Iu.%s", static_cast<std::size_t>(frame.note.image),
                    frames::imageFileFormatName(_settings.fileFormat));
    const std::string path = _settings.folder + "/" + name;
    if (!frames::encodeImage({frame.bytes.data(), frame.format}, _settings.fileFormat, _encoded, error)) {
        error = path + ": " + error;
        return false;
    }
    if (!writeWholeFile(path, _encoded.data(), _encoded.size(), _settings.existing, error)) return false;
    if (_sidecar.append(sidecarLine(name, frame.note, frame.format), error)) {
        _sidecarHasLines = true;
        return true;
    }
    _sidecarError = error;
    _unlink(path.c_str());
    return false;
}

}  // namespace host
