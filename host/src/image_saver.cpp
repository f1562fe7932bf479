#include "image_saver.h"

#include <cstring>
#include <exception>
#include <filesystem>
#include <utility>

#include "image_file.h"
#include "platform.h"

namespace host {

ImageSaver::ImageSaver(std::string folder, std::size_t queueCapacity)
    : _folder(std::move(folder)), _queueCapacity(queueCapacity), _writer(&ImageSaver::run, this) {}

ImageSaver::~ImageSaver() { finish(); }

void ImageSaver::offer(const frames::ImageView& image, std::uint64_t number) {
    std::vector<std::uint8_t> bytes;
    {
        const std::lock_guard lock(_mutex);
        if (_queue.size() + _reserved >= _queueCapacity) {
            ++_outcome.dropped;
            return;
        }
        ++_reserved;
        bytes = takeBuffer();
    }
    try {
        // The copy runs without the lock, so that the writer goes on meanwhile.
        bytes.resize(image.format.bytes());
        std::memcpy(bytes.data(), image.pixels, bytes.size());
    } catch (...) {
        const std::lock_guard lock(_mutex);
        --_reserved;
        throw;
    }
    {
        const std::lock_guard lock(_mutex);
        --_reserved;
        _queue.push_back({std::move(bytes), image.format, number});
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
}

ImageSaver::Outcome ImageSaver::outcome() const {
    const std::lock_guard lock(_mutex);
    return _outcome;
}

std::vector<std::uint8_t> ImageSaver::takeBuffer() {
    if (_spareBuffers.empty()) return {};
    std::vector<std::uint8_t> buffer = std::move(_spareBuffers.back());
    _spareBuffers.pop_back();
    return buffer;
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
        _spareBuffers.push_back(std::move(job.bytes));
    }
}

void ImageSaver::write(const Job& job) {
    char name[40];
    platform_format(name, sizeof name, "image_%06Iu.png", static_cast<std::size_t>(job.number));
    std::string error;
    bool written = false;
    try {
        const std::string path = (std::filesystem::path(_folder) / name).string();
        written = frames::writePng(path, {job.bytes.data(), job.format}, error);
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

}  // namespace host
