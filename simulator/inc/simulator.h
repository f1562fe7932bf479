// The simulator: renders or replays images, paces them, and writes them into the ring.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "camera_link.h"
#include "image_ring.h"
#include "image_source.h"
#include "pacing_grid.h"
#include "precise_timer.h"
#include "simulator_options.h"

namespace simulator {

/// What became of the frame numbers.
struct SimulatorTotals {
    std::uint64_t written = 0;
    std::uint64_t refused = 0;  // by the full ring
    std::uint64_t skipped = 0;  // too late: more than half a ring of later ones was due already
};

/// The images that the options ask for; null, with the reason, when that cannot be done.
/// @param camera  What the camera told: counts before the configuration file, but after the other options.
std::unique_ptr<ImageSource> makeImageSource(const SimulatorOptions& options, std::string& error,
                                             const std::optional<frames::ImageFormat>& camera = std::nullopt);

/// Runs on one thread.
class Simulator {
public:
    /// @param source  The images to begin with.   @param people  Receives messages for people.
    /// @param camera  Whose format the images follow; null: none.
    /// All three outlive the simulator.
    Simulator(const SimulatorOptions& options, ImageSource& source, std::ostream& people, CameraLink* camera = nullptr);

    /// Delivers images until all are done or a stop was requested (platform_installStopHandler).
    /// @return  Exit code: 0 done, 1 failed.
    int run();

    const SimulatorTotals& totals() const { return _totals; }

    // ---- the steps of run

    /// Opens the ring; tells people once when it cannot be had yet.
    ImageRing::OpenResult openRing();

    /// Draws a frame into the ring and publishes it, or counts it as refused.
    void deliver(std::uint64_t frameNumber);

    /// Takes what has become known of the camera: tells people, and lays the ring anew when its images are others.
    void followCamera();

    const frames::ImageFormat& format() const { return _source->format(); }

private:
    bool deliverOnGrid();
    bool sleepUntil(std::int64_t dueNs);
    void takeFormat(const frames::ImageFormat& camera);
    void changeSource(std::unique_ptr<ImageSource> source);
    bool ringIsThere();
    void tellFormat();
    void tellStripless();
    void tellTotals();

    SimulatorOptions _options;
    ImageSource* _source;
    std::unique_ptr<ImageSource> _cameraSource;  // what _source points to once the camera told another format
    std::ostream& _people;
    CameraLink* _camera;
    ImageRing _ring;
    PreciseTimer _timer;
    std::vector<std::optional<std::uint64_t>> _drawnInSlot;  // frame that each slot of the ring holds
    SimulatorTotals _totals;
    bool _toldTooSmall = false;
    bool _laid = false;            // the ring was opened once
    std::int64_t _nextOpenNs = 0;  // a ring that could not be laid anew is tried again then
};

/// "320 x 240 pixels, 1 byte per pixel"
std::string formatText(const frames::ImageFormat& format);

/// The whole program: command line, images, run.
/// @return  Exit code.
int simulatorMain(int argc, const char* const* argv);

}  // namespace simulator
