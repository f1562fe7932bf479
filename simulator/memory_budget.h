// The memory that depends on the size of a run's images: ring, pattern or pictures, and the copies of images that
// faults need. Memory that does not grow with the images is not counted.
#pragma once

#include <cstddef>
#include <string>

#include "image_view.h"
#include "picture_budget.h"
#include "simulator_options.h"

namespace simulator {

/// Bytes in use while images of another format are created.
struct HeldMemory {
    std::size_t images = 0;  // earlier pattern or pictures, which stay
    std::size_t ring = 0;    // the previous ring, until the new one exists
};

class MemoryBudget : public PictureBudget {
public:
    /// Uses --max-memory; by default a quarter of the memory of the machine or the container.
    explicit MemoryBudget(const SimulatorOptions& options, const HeldMemory& held = {});

    /// Bytes that the run may use.
    std::size_t bytes() const { return _bytes; }

    // For pictures; also for a pattern.
    std::size_t left() const override { return below(_held.images + _held.ring); }
    std::size_t leftBeside(const frames::ImageFormat& format) const override { return below(fixedBytes(format)); }
    std::string problem(const frames::ImageFormat& format, std::size_t sourceBytes) const override;

private:
    std::size_t fixedBytes(const frames::ImageFormat& format) const;
    std::size_t below(std::size_t taken) const { return taken < _bytes ? _bytes - taken : 0; }

    std::size_t _bytes;
    HeldMemory _held;
    std::size_t _lineCount;
    std::size_t _roomForBytes;  // bytes of one image for which the ring has room, however small its images are
    std::size_t _copies;        // number of copied images
};

}  // namespace simulator
