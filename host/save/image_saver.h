// Saves images of a grab without delaying the thread that offers them. The images are copied into memory that was
// reserved before, encoded in parallel by the saver's own threads, and written one at a time in the images' order.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "frame_ring.h"
#include "image_file.h"
#include "image_stream.h"
#include "image_view.h"
#include "image_writer.h"
#include "output_file.h"
#include "sidecar.h"

namespace host {

/// Encodes an image as the bytes of a file, like frames::encodeImage.
using ImageEncoder = std::function<bool(const frames::ImageView& image, frames::ImageFileFormat format,
                                        std::vector<std::uint8_t>& file, std::string& error, int pngLevel)>;

struct SaveSettings {
    std::string folder;
    frames::ImageFileFormat fileFormat = frames::ImageFileFormat::png;
    int pngLevel = frames::kDefaultPngLevel;
    std::size_t threads = 0;     // that compress PNG; 0: as many as there are processors to spare. Others: one
    std::uint64_t every = 1;     // every nth image, beginning with the first; 0: none but those around a loss
    std::size_t aroundLoss = 0;  // so many images before the first loss is seen, and so many from then on
    std::size_t memoryBytes = std::size_t{1} << 30;  // at most, for all images that are kept or wait
    ExistingFile existing = ExistingFile::refuse;
    ImageEncoder encode = frames::encodeImage;  // of tests: one that they can hold up. Called by several threads
    // Instead of a folder and its sidecar: standard output, to which fileFormat is written as the form says.
    std::optional<StreamSettings> stream;
    ImageStream::Write writeStream = platform_writeStandardOutput;  // of tests: another place
};

/// Writes "image_000000.png" and so on into a folder, numbered by their position in the grab, and for each one, once it
/// is complete, a line into the sidecar beside them (sidecar.h). An image whose line cannot be written is removed
/// again, and nothing more is saved then: what the sidecar names is there, and what is there it names.
class ImageSaver {
public:
    /// Creates the folder and the sidecar in it.
    ///
    /// @return  null, with the reason, when there is no folder, or when the sidecar already exists
    ///          (SaveSettings::existing) or cannot be written.
    static std::unique_ptr<ImageSaver> create(const SaveSettings& settings, std::string& error);

    /// Reserves all memory and is then ready for images. Call it once, before the first image.
    ///
    /// @param expected  Format of the images.
    /// @return          false, with the reason, when that takes more memory than SaveSettings::memoryBytes.
    /// @throws std::bad_alloc  when the machine does not have that much.
    bool reserve(const frames::ImageFormat& expected, std::string& error);

    /// Finishes.
    ~ImageSaver();
    ImageSaver(const ImageSaver&) = delete;
    ImageSaver& operator=(const ImageSaver&) = delete;

    /// Takes the next image: copies it if it is to be saved or kept, or counts it as dropped if it is to be saved but
    /// compressor or disk are too far behind. An image without pixels fails when its turn comes. Used by one thread;
    /// takes as long as the copy. Images around the loss are never dropped.
    ///
    /// @param note      Its positions ascend.
    /// @param lossSeen  Whether an image is known to be missing by now.
    /// @throws std::bad_alloc, std::length_error  when there is no memory to copy an image that is larger than
    /// expected.
    void offer(const frames::ImageView& image, const FrameNote& note, bool lossSeen);

    /// Waits until everything is written. Nothing may be offered any more. A sidecar without a line is removed.
    void finish();

    /// False once nothing more can be written to standard output: whoever hands images over may end.
    bool takesImages() const { return !_stream || !_stream->looksAbandoned(); }

    struct Outcome {
        std::uint64_t saved = 0;
        std::uint64_t droppedByCompressor = 0;  // that it could not keep up with
        std::uint64_t droppedByDisk = 0;
        std::uint64_t failed = 0;
        std::string firstError;                  // of those that failed
        std::optional<std::uint64_t> lossImage;  // position of the image that showed the first loss
        bool readerIsGone = false;  // of standard output: what came after counts neither as saved nor as failed

        std::uint64_t dropped() const { return droppedByCompressor + droppedByDisk; }
        /// Images that were to be saved and were not.
        std::uint64_t notSaved() const { return dropped() + failed; }
        /// Why, by the cause of most of them: "compressor", "disk" or "error"; null when all were saved.
        const char* reason() const;
    };
    Outcome outcome() const;

    /// Number of images that may wait to be saved, besides those around a loss.
    std::size_t queueCapacity() const { return _queueCapacity; }
    /// Number of reserved bytes.
    std::size_t reservedBytes() const { return _reservedBytes; }
    /// Number of images that are encoded at the same time.
    std::size_t threads() const { return _workers.size(); }

private:
    struct Job {
        KeptFrame frame;
        bool aroundLoss;
    };

    explicit ImageSaver(const SaveSettings& settings);
    std::string sidecarPath() const { return _settings.folder + "/" + kSidecarName; }
    void startWorkers(std::size_t count);
    void beginLoss(std::uint64_t image);
    bool reservePlace(std::optional<Bottleneck>& dropped);
    Bottleneck bottleneck() const;
    std::uint64_t& countOf(Bottleneck dropped);
    KeptFrame copyOf(const frames::ImageView& image, const FrameNote& note);
    void keep(const frames::ImageView& image, const FrameNote& note, std::optional<Bottleneck> dropped);
    void enqueue(const frames::ImageView& image, const FrameNote& note, bool aroundLoss);
    void run();
    bool encode(const KeptFrame& frame, std::vector<std::uint8_t>& file, std::string& error) const;
    bool write(const KeptFrame& frame, const std::vector<std::uint8_t>& file, std::string& error);
    bool writeFiles(const KeptFrame& frame, const std::vector<std::uint8_t>& file, std::string& error);
    std::string nameOf(const FrameNote& note) const;
    void end(Job job, bool written, const std::string& error);

    const SaveSettings _settings;
    std::size_t _queueCapacity = 0;
    std::size_t _reservedBytes = 0;

    // Used by the offering thread only.
    FrameRing _ring;
    bool _lossSeen = false;
    std::size_t _toSaveAfterLoss = 0;

    // Of the worker whose turn it is: the turn is handed on under the mutex.
    std::unique_ptr<ImageStream> _stream;  // null: images go to the folder
    GrowingFile _sidecar;
    bool _sidecarHasLines = false;
    std::string _sidecarError;

    mutable std::mutex _mutex;  // guards everything below
    std::condition_variable _changed;
    std::condition_variable _turned;
    std::deque<Job> _queue;
    std::vector<std::vector<std::uint8_t>> _spareBuffers;  // their pages are warm
    std::size_t _placesTaken = 0;                          // of the queue's capacity: from the copy to the disk
    std::uint64_t _jobsTaken = 0;                          // from the queue, in its order
    std::uint64_t _turn = 0;                               // of them, the next one to write
    std::size_t _encoding = 0;                             // workers
    std::size_t _waiting = 0;                              // workers that have encoded and wait for their turn
    bool _writing = false;
    bool _finishing = false;
    Outcome _outcome;
    std::vector<std::thread> _workers;  // started by reserve, ended by finish
};

}  // namespace host
