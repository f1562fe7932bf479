// A grab: opens the camera, receives its images in the callback, and measures them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "PluginDeviceBase.h"
#include "grab_observer.h"
#include "grab_statistics.h"
#include "host_options.h"
#include "image_saver.h"
#include "image_view.h"

namespace host {

class CameraSession;

/// What a grab keeps of its findings, and whether people are told of each.
struct GrabFindings {
    std::size_t capacity = ImageCheckSettings{}.capacity;
    std::optional<double> lateFromUs;  // latency from which an image is late, also without a limit on it
    bool areTold = true;
};

/// Drives one device through its commands alone. run() is called once.
class Grab {
public:
    /// @param device  Outlives the grab, as options do.   @param people  Receives messages for people.
    Grab(NUV::PluginDeviceBase& device, const GrabOptions& options, std::ostream& people,
         const GrabFindings& findings = {});
    ~Grab();
    Grab(const Grab&) = delete;
    Grab& operator=(const Grab&) = delete;

    /// Grabs until the wanted images have come, the wanted time is over, a stop was requested
    /// (platform_installStopHandler), no image came in time, or the simulator's images gave way to faked ones. Saved
    /// images are on disk when it returns.
    /// @return  Exit code.
    int run();

    /// Has an observer told while the grab runs. Before run(). @param observer  Outlives the grab.
    void watch(GrabObserver& observer) { _observers.push_back(&observer); }

    GrabResults results() const;

    /// What was found in the images, sorted by frame number.
    FindingList findings() const;

    /// Why the grab ended: "count", "duration", "stop", "no_image", "connection_lost" or "failed".
    const char* end() const { return _end; }

    /// Images that no observer was told of, since it was too slow for them.
    std::uint64_t framesOmitted() const;

    /// Outcome of saving; all zero when nothing was to be saved.
    ImageSaver::Outcome saved() const;

    /// Takes one image, as the callback does; public for tests.
    void receive(const NUV::IMAGEMEMORY& record, std::int64_t arrivalNs);

private:
    enum class State { running, complete, connectionLost, callbackFailed };

    bool prepareSaving();
    bool open(CameraSession& camera);
    bool reserveForSaving();
    bool start(CameraSession& camera);
    bool tellUnless(bool good, const std::string& error);
    int waitForEnd();
    int tellEnd(bool imageCame);
    void tellNoImage();
    void tellSecond(std::int64_t nowNs);
    void tellFrames();
    void keepRow(const ReceivedImage& image, const GrabStatistics::Told& told);
    frames::ImageView viewOf(const NUV::IMAGEMEMORY& record, std::int64_t nowNs);
    bool canRead(const std::uint8_t* pixels, std::size_t bytes, std::int64_t nowNs);
    static int onImage(void* self, NUV::IMAGEMEMORY* record);

    NUV::PluginDeviceBase& _device;
    const GrabOptions& _options;
    std::ostream& _people;
    const GrabFindings _findings;
    std::unique_ptr<ImageSaver> _saver;
    frames::ImageFormat _format{};  // of the camera's images
    std::atomic<State> _state{State::running};
    std::atomic<std::int64_t> _lastImageNs{0};
    const char* _end = "failed";
    bool _timeIsUp = false;  // of --duration
    std::vector<GrabObserver*> _observers;
    IntervalSamples _spareInterval;  // the main thread's, exchanged for the callback's once a second
    std::vector<FrameRow> _spareRows;
    std::int64_t _startNs = 0, _startCpuNs = 0;  // when the grab began
    std::int64_t _lookNs = 0, _lookCpuNs = 0;    // at the last look
    std::int64_t _endNs = 0, _endCpuNs = 0;
    // Memory that was last seen to be readable; the callback's own.
    std::uintptr_t _extentBegin = 0, _extentEnd = 0;
    std::int64_t _extentSeenNs = 0;
    mutable std::mutex _mutex;  // guards what follows: the callback writes, the main thread reads
    std::unique_ptr<GrabStatistics> _statistics;
    bool _keepRows = false;
    std::vector<FrameRow> _rows;  // that observers do not know yet
    std::uint64_t _framesOmitted = 0;
    std::string _callbackError;
};

}  // namespace host
