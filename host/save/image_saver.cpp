#include "image_saver.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "exception_text.h"
#include "platform.h"

namespace host {
namespace {

constexpr std::size_t kQueue = 16;  // images that may wait, unless many threads want more

// A reader of standard output may begin seconds later, and a player reads at its own pace.
constexpr std::size_t kStreamQueue = 200;
constexpr std::size_t kStreamQueueBytes = 256'000'000;

// What a thread takes while it encodes, in images: lines, their compressed form as it grows, the file.
constexpr std::size_t kEncoderImages = 5;

bool makeFolder(const std::string& folder, std::string& error) {
    std::error_code failure;
    // Our programs use UTF-8 in narrow texts; Windows would not read a path of plain char as UTF-8.
    const std::filesystem::path path(reinterpret_cast<const char8_t*>(folder.c_str()));
    std::filesystem::create_directories(path, failure);
    if (!failure && std::filesystem::is_directory(path, failure)) return true;
    error = folder + ": cannot be made a folder for images" + (failure ? ": " + failure.message() : "");
    return false;
}

std::string megabytes(std::size_t bytes) { return std::to_string((bytes + 999'999) / 1'000'000) + " MB"; }

// One processor is reserved for the thread that receives the images.
std::size_t processorsToSpare() {
    const std::size_t processors = std::thread::hardware_concurrency();
    return processors > 1 ? processors - 1 : 1;
}

std::size_t wantedThreads(const SaveSettings& settings) {
    // Other formats are copies; a second thread would only wait for the disk.
    if (settings.fileFormat != frames::ImageFileFormat::png) return 1;
    return settings.threads != 0 ? settings.threads : processorsToSpare();
}

std::size_t wantedQueue(const SaveSettings& settings, std::size_t imageBytes, std::size_t threads) {
    const std::size_t least = std::max(kQueue, 2 * threads);
    return settings.stream ? std::clamp(kStreamQueueBytes / imageBytes, least, kStreamQueue) : least;
}

struct Plan {
    std::size_t queue = 0;  // images that may wait beside those around a loss; 0: the memory is not enough for any
    std::size_t threads = 0;
};

// As many threads as requested, if there is memory for them: each has two images of the queue, and each except the
// first counts its own memory too.
Plan planFor(const SaveSettings& settings, std::size_t imageBytes, std::string& error) {
    const std::size_t image = std::max<std::size_t>(imageBytes, 1);
    const std::size_t fitting = settings.memoryBytes / image;
    const std::size_t around = 2 * settings.aroundLoss;
    if (fitting <= around) {
        error = std::to_string(around + 1) + " images of " + megabytes(imageBytes) +
                " have to be kept in memory, and --save-memory allows " + megabytes(settings.memoryBytes) +
                ": allow more, or fewer images around a loss";
        return {};
    }
    const std::size_t room = fitting - around;
    const std::size_t affordable = 1 + (room > 2 ? (room - 2) / (kEncoderImages + 2) : 0);
    const std::size_t threads = std::min(wantedThreads(settings), affordable);
    return {std::min(room - kEncoderImages * (threads - 1), wantedQueue(settings, image, threads)), threads};
}

}  // namespace

ImageSaver::ImageSaver(const SaveSettings& settings) : _settings(settings), _ring(settings.aroundLoss) {
    if (settings.stream) _stream = std::make_unique<ImageStream>(*settings.stream, settings.writeStream);
}

std::unique_ptr<ImageSaver> ImageSaver::create(const SaveSettings& settings, std::string& error) {
    if (settings.stream) return std::unique_ptr<ImageSaver>(new ImageSaver(settings));
    if (!makeFolder(settings.folder, error)) return nullptr;
    std::unique_ptr<ImageSaver> saver(new ImageSaver(settings));
    return saver->_sidecar.open(saver->sidecarPath(), settings.existing, error) ? std::move(saver) : nullptr;
}

bool ImageSaver::reserve(const frames::ImageFormat& expected, std::string& error) {
    if (_stream && !_stream->takes(expected, error)) return false;
    const Plan plan = planFor(_settings, expected.bytes(), error);
    _queueCapacity = plan.queue;
    if (_queueCapacity == 0) return false;
    const std::size_t buffers = _queueCapacity + 2 * _settings.aroundLoss;
    _spareBuffers.reserve(buffers);
    for (std::size_t count = 0; count < buffers; ++count) _spareBuffers.emplace_back(expected.bytes());
    _reservedBytes = buffers * expected.bytes();
    startWorkers(plan.threads);
    return true;
}

void ImageSaver::startWorkers(std::size_t count) {
    try {
        while (_workers.size() < count) _workers.emplace_back(&ImageSaver::run, this);
    } catch (const std::system_error&) {  // the system has no more threads
        if (_workers.empty()) throw;
    }
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
    std::optional<Bottleneck> dropped;
    if (wanted && reservePlace(dropped)) {
        enqueue(image, note, false);
    } else if (_settings.aroundLoss > 0 && !_lossSeen) {
        keep(image, note, dropped);
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
            if (frame.dropped) --countOf(*frame.dropped);  // it is saved after all
            _queue.push_back({std::move(frame), true});
        }
    }
    _changed.notify_all();
}

// A place of the queue for an image, or one more that was dropped.
bool ImageSaver::reservePlace(std::optional<Bottleneck>& dropped) {
    const std::lock_guard lock(_mutex);
    if (_stream && _stream->readerIsGone()) return false;
    if (_placesTaken < _queueCapacity) {
        ++_placesTaken;
        return true;
    }
    dropped = bottleneck();
    ++countOf(*dropped);
    return false;
}

// Call it with the lock held. A single call sees only this moment, but one is made for each dropped image, and the
// cause of most of them is reported.
Bottleneck ImageSaver::bottleneck() const {
    if (_settings.fileFormat != frames::ImageFileFormat::png) return Bottleneck::disk;
    const bool diskIsBehind = _writing && (_encoding == 0 || _waiting > 0);
    return diskIsBehind ? Bottleneck::disk : Bottleneck::compressor;
}

std::uint64_t& ImageSaver::countOf(Bottleneck dropped) {
    return dropped == Bottleneck::compressor ? _outcome.droppedByCompressor : _outcome.droppedByDisk;
}

// The copy runs without the lock, so that the workers continue meanwhile.
KeptFrame ImageSaver::copyOf(const frames::ImageView& image, const FrameNote& note) {
    KeptFrame frame{{}, image.format, note};
    if (!image.pixels) return frame;
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

void ImageSaver::keep(const frames::ImageView& image, const FrameNote& note, std::optional<Bottleneck> dropped) {
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
        if (_outcome.failed++ == 0) _outcome.firstError = nameOf(note) + ": there is no memory for a copy of it";
        throw;
    }
    _changed.notify_one();
}

void ImageSaver::finish() {
    {
        const std::lock_guard lock(_mutex);
        _finishing = true;
    }
    _changed.notify_all();
    for (std::thread& worker : _workers)
        if (worker.joinable()) worker.join();
    if (!_sidecar.isOpen()) return;
    _sidecar.close();
    if (!_sidecarHasLines) _unlink(sidecarPath().c_str());  // or it would block the next grab
}

ImageSaver::Outcome ImageSaver::outcome() const {
    const std::lock_guard lock(_mutex);
    Outcome outcome = _outcome;
    outcome.readerIsGone = _stream && _stream->readerIsGone();
    return outcome;
}

const char* ImageSaver::Outcome::reason() const {
    if (notSaved() == 0) return nullptr;
    if (failed >= std::max(droppedByCompressor, droppedByDisk)) return "error";
    return droppedByCompressor >= droppedByDisk ? "compressor" : "disk";
}

// Each worker takes the next image, encodes it in parallel with the others, waits for its turn, and writes alone.
void ImageSaver::run() {
    std::vector<std::uint8_t> file;
    std::unique_lock lock(_mutex);
    for (;;) {
        _changed.wait(lock, [this] { return _finishing || !_queue.empty(); });
        if (_queue.empty()) return;
        Job job = std::move(_queue.front());
        _queue.pop_front();
        const std::uint64_t turn = _jobsTaken++;
        ++_encoding;
        lock.unlock();
        std::string error;
        bool good = encode(job.frame, file, error);
        lock.lock();
        --_encoding;
        ++_waiting;
        _turned.wait(lock, [&] { return _turn == turn; });
        --_waiting;
        _writing = true;
        lock.unlock();
        good = good && write(job.frame, file, error);
        lock.lock();
        _writing = false;
        end(std::move(job), good, error);
    }
}

bool ImageSaver::encode(const KeptFrame& frame, std::vector<std::uint8_t>& file, std::string& error) const {
    if (frame.bytes.empty()) {
        error = "image " + std::to_string(frame.note.image) + " came without pixels and cannot be saved";
        return false;
    }
    try {
        if (_settings.encode({frame.bytes.data(), frame.format}, _settings.fileFormat, file, error, _settings.pngLevel))
            return true;
    } catch (const std::exception& exception) {
        error = options::exceptionText(exception);
    }
    error = (_stream ? "standard output: " : _settings.folder + "/" + nameOf(frame.note) + ": ") + error;
    return false;
}

bool ImageSaver::write(const KeptFrame& frame, const std::vector<std::uint8_t>& file, std::string& error) {
    try {
        return _stream ? _stream->write(frame, file, error) : writeFiles(frame, file, error);
    } catch (const std::exception& exception) {
        error = options::exceptionText(exception);
        return false;
    }
}

// Call it with the lock held. Counts the image, and passes the turn on.
void ImageSaver::end(Job job, bool written, const std::string& error) {
    ++_turn;
    _turned.notify_all();
    if (!job.frame.bytes.empty()) _spareBuffers.push_back(std::move(job.frame.bytes));
    if (!job.aroundLoss) --_placesTaken;
    if (written) {
        ++_outcome.saved;
    } else if (_stream && _stream->readerIsGone()) {
        return;
    } else if (_outcome.failed++ == 0) {
        _outcome.firstError = error;
    }
}

std::string ImageSaver::nameOf(const FrameNote& note) const {
    char name[48];
    platform_format(name, sizeof name, "image_%06Iu.%s", static_cast<std::size_t>(note.image),
                    frames::imageFileFormatName(_settings.fileFormat));
    return name;
}

bool ImageSaver::writeFiles(const KeptFrame& frame, const std::vector<std::uint8_t>& file, std::string& error) {
    if (!_sidecarError.empty()) {
        error = _sidecarError;
        return false;
    }
    const std::string name = nameOf(frame.note);
    const std::string path = _settings.folder + "/" + name;
    if (!writeWholeFile(path, file.data(), file.size(), _settings.existing, error)) return false;
    if (_sidecar.append(sidecarLine(name, frame.note, frame.format), error)) {
        _sidecarHasLines = true;
        return true;
    }
    _sidecarError = error;
    _unlink(path.c_str());
    return false;
}

}  // namespace host
