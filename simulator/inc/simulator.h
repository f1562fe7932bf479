// The simulator: renders or replays images, paces them, and writes them into the ring.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <vector>

#include "image_ring.h"
#include "image_source.h"
#include "pacing_grid.h"
#include "simulator_options.h"

namespace simulator {

/// What became of the frame numbers.
struct SimulatorTotals {
    std::uint64_t written = 0;
    std::uint64_t refused = 0;  // by the full ring
    std::uint64_t skipped = 0;  // too late: more than half a ring of later ones was due already
};

/// The images that the options ask for; null, with the reason, when that cannot be done.
std::unique_ptr<ImageSource> makeImageSource(const SimulatorOptions& options, std::string& error);

/// Runs on one thread.
class Simulator {
public:
    /// @param source  Outlives the simulator.   @param people  Receives messages for people.
    Simulator(const SimulatorOptions& options, ImageSource& source, std::ostream& people);

    /// Delivers images until all are done or a stop was requested (platform_installStopHandler).
    /// @return  Exit code: 0 done, 1 failed.
    int run();

    const SimulatorTotals& totals() const { return _totals; }

    // ---- the steps of run

    /// Opens the ring; tells people once when it cannot be had yet.
    ImageRing::OpenResult openRing();

    /// Draws a frame into the ring and publishes it, or counts it as refused.
    void deliver(std::uint64_t frameNumber);

private:
    void deliverOnGrid();
    void tellStart();
    void tellTotals();

    SimulatorOptions _options;
    ImageSource& _source;
    std::ostream& _people;
    ImageRing _ring;
    std::int64_t _periodNs;
    std::vector<std::optional<std::uint64_t>> _drawnInSlot;  // frame that each slot of the ring holds
    SimulatorTotals _totals;
    bool _toldTooSmall = false;
};

/// The whole program: command line, images, run.
/// @return  Exit code.
int simulatorMain(int argc, const char* const* argv);

}  // namespace simulator
