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

/// Used by one thread.
class Simulator {
public:
    /// @param source  The first images.   @param people  Receives messages for people.
    /// @param camera  The camera whose format the images follow; may be null.
    /// @param faults  The faults to provoke; may be null.
    /// All four must outlive the simulator. The thread that creates it also runs it.
    Simulator(const SimulatorOptions& options, ImageSource& source, std::ostream& people, CameraLink* camera = nullptr,
              Faults* faults = nullptr);

    /// Where the totals go in the end; people if nobody says. @param answer  Outlives the simulator.
    void printTotalsOn(std::ostream& answer) { _answer = &answer; }

    /// Delivers images until all are done or a stop was requested (platform_installStopHandler).
    /// @return  Exit code: 0 done, 1 failed.
    int run();

    const SimulatorTotals& totals() const { return _totals; }

    // ---- the steps of run

    /// Opens the ring; reports once when it is not yet available.
    ImageRing::OpenResult openRing();

    /// Draws a frame into the ring, unless that was done ahead, and publishes it with the image faults that strike at
    /// it; or counts it as refused.
    void deliver(std::uint64_t frameNumber);

    /// Carries out faults that strike at a slot, not at its image (FaultRow::ofImage).
    ///
    /// @param frames  The last one is to be delivered now, the others were skipped.
    /// @return        The frame to deliver next: frames.last, or a later one. None: the run ends.
    std::optional<std::uint64_t> strikeSlots(const PacingGrid& grid, const FrameRange& frames);

    /// Processes news about the camera: reports them, and recreates the ring when its images have changed.
    void followCamera();

    const frames::ImageFormat& format() const { return _source->format(); }

private:
    bool deliverOnGrid();
    bool deliverFrames(PacingGrid grid);
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
    std::ostream& progress() { return _options.quiet ? _silence : _people; }

    SimulatorOptions _options;
    ImageSource* _source;
    const ImageSource& _firstSource;             // stays until the end
    std::unique_ptr<ImageSource> _cameraSource;  // what _source points to once the camera has reported another format
    std::ostream& _people;
    std::ostream _silence{nullptr};  // keeps nothing
    std::ostream* _answer = &_people;
    CameraLink* _camera;
    Faults* _faults;
    ImageRing _ring;
    PreciseTimer _timer;
    SimulatorTotals _totals;
    FrameDelivery _delivery;
    ReaderWatch _reader;
    std::uint64_t _nextFrame = 0;  // no lower frame is delivered any more
    /// After a stall that is made up for: frames below the first number count as complete when they were due.
    std::optional<std::pair<std::uint64_t, PacingGrid>> _stalled;
    bool _toldTooSmall = false;
    bool _laid = false;               // the ring was opened once
    bool _sourceFailed = false;       // its pictures broke off
    std::int64_t _nextOpenNs = 0;     // a ring that could not be laid anew is tried again then
    std::int64_t _endNs = INT64_MAX;  // of --duration
};

}  // namespace simulator
