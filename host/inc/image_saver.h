// Saves images without holding up whoever hands them over: copied into a bounded queue, written by a thread of its own.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "image_view.h"

namespace host {

/// Writes "image_000000.png" and so on into a folder.
class ImageSaver {
public:
    /// @param folder         Existing folder.   @param queueCapacity  Images that may wait, at least 1.
    ImageSaver(std::string folder, std::size_t queueCapacity);

    /// Finishes.
    ~ImageSaver();
    ImageSaver(const ImageSaver&) = delete;
    ImageSaver& operator=(const ImageSaver&) = delete;

    /// Copies an image into the queue, or counts it as dropped when the queue is full. Any thread; takes as long as the
    /// copy.
    /// @param number  For the file's name.
    /// @throws std::bad_alloc, std::length_error  when there is no memory for the copy.
    void offer(const frames::ImageView& image, std::uint64_t number);

    /// Waits until everything in the queue is written. Nothing may be offered any more.
    void finish();

    struct Outcome {
        std::uint64_t saved = 0;
        std::uint64_t dropped = 0;  // came while the queue was full
        std::uint64_t failed = 0;
        std::string firstError;  // of those that failed
    };
    Outcome outcome() const;

private:
    struct Job {
        std::vector<std::uint8_t> bytes;
        frames::ImageFormat format;
        std::uint64_t number;
    };
    std::vector<std::uint8_t> takeBuffer();
    void run();
    void write(const Job& job);

    const std::string _folder;
    const std::size_t _queueCapacity;
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<Job> _queue;
    std::vector<std::vector<std::uint8_t>> _spareBuffers;  // their pages are warm
    std::size_t _reserved = 0;                             // places of the queue that are being filled
    bool _finishing = false;
    Outcome _outcome;
    std::thread _writer;
};

}  // namespace host
