// A host's callback for tests: records each image, and lets a test wait for them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "HostTypes.h"

namespace test {

struct ReceivedImage {
    std::uint32_t counter;
    std::uint64_t timeStamp;
    double frameTime;
    std::int32_t timeStampType;
    const unsigned char* pixels;
    int firstPixel;  // -1 without pixels
    std::thread::id thread;
    std::chrono::steady_clock::time_point time;
};

class ReceivedImages {
public:
    static int callback(void* context, NUV::IMAGEMEMORY* record) {
        static_cast<ReceivedImages*>(context)->receive(*record);
        return 0;
    }

    /// Called inside the callback, after the image was noted.
    std::function<void()> inside;

    std::vector<ReceivedImage> images() const {
        const std::lock_guard lock(_mutex);
        return _images;
    }
    /// The latest image; call it only after one was received.
    ReceivedImage last() const {
        const std::lock_guard lock(_mutex);
        return _images.back();
    }
    std::size_t count() const {
        const std::lock_guard lock(_mutex);
        return _images.size();
    }
    std::vector<std::uint32_t> counters() const {
        std::vector<std::uint32_t> found;
        for (const ReceivedImage& image : images()) found.push_back(image.counter);
        return found;
    }
    bool waitFor(std::size_t wanted, std::chrono::milliseconds limit = std::chrono::seconds(60)) {
        std::unique_lock lock(_mutex);
        return _arrived.wait_for(lock, limit, [&] { return _images.size() >= wanted; });
    }

private:
    void receive(const NUV::IMAGEMEMORY& record) {
        {
            const std::lock_guard lock(_mutex);
            const bool readable = record.imageBuffer && record.width * record.height > 0;
            _images.push_back({record.imageCounter, record.timeStamp, record.frameTime, record.timeStampType,
                               record.imageBuffer, readable ? record.imageBuffer[0] : -1, std::this_thread::get_id(),
                               std::chrono::steady_clock::now()});
        }
        _arrived.notify_all();
        if (inside) inside();
    }

    mutable std::mutex _mutex;
    std::condition_variable _arrived;
    std::vector<ReceivedImage> _images;
};

}  // namespace test
