// The memory that a run may take by the size of its images: ring, pattern or pictures, and the copies of images that
// faults need. What does not grow with the images is not counted.
#pragma once

#include <cstddef>
#include <string>

#include "image_view.h"
#include "simulator_options.h"

namespace simulator {

/// Bytes that are taken already while images of another format are made.
struct HeldMemory {
    std::size_t images = 0;  // pattern or pictures from before, which stay
    std::size_t ring = 0;    // of before, until there is the new one
};

class MemoryBudget {
public:
    /// Of --max-memory; without it a quarter of the machine's memory, or of the container's.
    explicit MemoryBudget(const SimulatorOptions& options, const HeldMemory& held = {});

    /// Bytes that the run may take.
    std::size_t bytes() const { return _bytes; }

    /// Bytes that are left for a pattern or pictures, as long as their format is not known.
    std::size_t left() const { return below(_held.images + _held.ring); }

    /// Bytes that are left for them beside ring and copies of images of a format.
    std::size_t leftBeside(const frames::ImageFormat& format) const { return below(fixedBytes(format)); }

    /// Why images of a format cannot be made from a pattern or pictures of so many bytes; empty when they can.
    std::string problem(const frames::ImageFormat& format, std::size_t sourceBytes) const;

private:
    std::size_t fixedBytes(const frames::ImageFormat& format) const;
    std::size_t below(std::size_t taken) const { return taken < _bytes ? _bytes - taken : 0; }

    std::size_t _bytes;
    HeldMemory _held;
    std::size_t _lineCount;
    std::size_t _roomForBytes;  // of one image that the ring has room for, however small its images are
    std::size_t _copies;        // of images
};

}  // namespace simulator
