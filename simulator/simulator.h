// The simulator: renders or replays images, paces them, and writes them into the ring.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "camera_link.h"
#include "fault_log.h"
#include "faults.h"
#include "frame_delivery.h"
#include "image_ring.h"
#include "image_source.h"
#include "memory_budget.h"
#include "pacing_grid.h"
#include "precise_timer.h"
#include "reader_watch.h"
#include "simulator_options.h"

namespace simulator {

/// Runs on one thread.
class Simulator {
public:
    /// @param source  The images to begin with.   @param people  Receives messages for people.
    /// @param camera  Whose format the images follow; null: none.
    /// @param faults  What is provoked; null: nothing.
    /// All four outlive the simulator. The thread that makes it runs it.
    Simulator(const SimulatorOptions& options, ImageSource& source, std::ostream& people, CameraLink* camera = nullptr,
              Faults* faults = nullptr);

    /// Delivers images until all are done or a stop was requested (platform_installStopHandler).
    /// @return  Exit code: 0 done, 1 failed.
    int run();

    const SimulatorTotals& totals() const { return _totals; }

    // ---- the steps of run

    /// Opens the ring; tells people once when it cannot be had yet.
    ImageRing::OpenResult openRing();

    /// Draws a frame into the ring, unless that was done ahead, and publishes it, with the faults of images that strike
    /// at it, or counts it as refused.
    void deliver(std::uint64_t frameNumber);

    /// Carries out what strikes at a slot rather than at its image (FaultRow::ofImage).
    ///
    /// @param frames  The last one is to be delivered now, those before were skipped.
    /// @return        The frame to deliver next: frames.last, or a later one. None: the run ends.
    std::optional<std::uint64_t> strikeSlots(const PacingGrid& grid, const FrameRange& frames);

    /// Takes what has become known of the camera: tells people, and lays the ring anew when its images are others.
    void followCamera();

    const frames::ImageFormat& format() const { return _source->format(); }

private:
    bool deliverOnGrid();
    bool isWanted(std::uint64_t frame) const {
        return _options.pacing.frameCount == 0 || frame < _options.pacing.frameCount;
    }
    bool awaitPicture(PacingGrid& grid, std::uint64_t frame);
    bool drawInTime(const PacingGrid& grid, std::uint64_t frame);
    std::uint64_t skipLate(const PacingGrid& grid, std::uint64_t frame);
    bool sleepUntil(std::int64_t dueNs, bool exactly = true);
    void lookAfterRing();
    void recreateDamagedRing(const LineFifoDamage& damage);
    void lookAfterReader();
    void drainReader();
    std::vector<std::uint64_t> takeUnread();
    std::vector<Strike> slotStrikes(const FrameRange& frames) const;
    std::optional<std::uint64_t> strike(const PacingGrid& grid, const Strike& strike, std::uint64_t frame);
    void recreate(std::uint64_t frame);
    void hang(std::uint64_t frame);
    [[noreturn]] void crash(std::uint64_t frame);
    std::uint64_t disturbRing(const PacingGrid& grid, const Strike& strike, std::uint64_t frame);
    std::uint64_t stall(const PacingGrid& grid, const Strike& strike, std::uint64_t frame);
    FrameRange missed(const PacingGrid& grid, std::uint64_t frame, std::uint64_t next) const;
    void takeFormat(const frames::ImageFormat& camera);
    HeldMemory heldMemory() const;
    void changeSource(std::unique_ptr<ImageSource> source);
    bool ringIsThere();
    void tellFormat();
    void tellStrip();
    void tellTotals();

    SimulatorOptions _options;
    ImageSource* _source;
    const ImageSource& _firstSource;             // stays until the end
    std::unique_ptr<ImageSource> _cameraSource;  // what _source points to once the camera told another format
    std::ostream& _people;
    CameraLink* _camera;
    Faults* _faults;
    ImageRing _ring;
    PreciseTimer _timer;
    SimulatorTotals _totals;
    FrameDelivery _delivery;
    ReaderWatch _reader;
    std::uint64_t _nextFrame = 0;  // none below is delivered any more
    /// After a stall that is made up for: frames below the first count as complete when they were due.
    std::optional<std::pair<std::uint64_t, PacingGrid>> _stalled;
    bool _toldTooSmall = false;
    bool _laid = false;            // the ring was opened once
    bool _sourceFailed = false;    // its pictures broke off
    std::int64_t _nextOpenNs = 0;  // a ring that could not be laid anew is tried again then
};

}  // namespace simulator
