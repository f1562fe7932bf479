#include "memory_budget.h"

#include <algorithm>
#include <limits>

#include "camera_config.h"
#include "image_choice.h"
#include "image_ring.h"
#include "machine_memory.h"

namespace simulator {
namespace {

constexpr std::size_t kMegabyte = 1'000'000;
constexpr std::size_t kShareOfMachine = 4;

/// One that waits for its successor, one that is delivered twice, and half of the previous one for torn images.
constexpr std::size_t kCopiesForFaults = 3;

// All when the system does not tell.
std::size_t machineBytes() {
    const std::uint64_t machine = platform_machineMemoryBytes();
    return machine != 0 ? static_cast<std::size_t>(machine) : std::numeric_limits<std::size_t>::max();
}

// What the machine does not have cannot be allowed.
std::size_t allowed(const SimulatorOptions& options) {
    const std::size_t machine = machineBytes();
    return options.maxMemoryMb ? std::min(*options.maxMemoryMb * kMegabyte, machine) : machine / kShareOfMachine;
}

bool mayFault(const FaultOptions& options) {
    return !options.off && (!options.requests.empty() || !options.scenarioFile.empty());
}

std::string megabytes(std::size_t bytes) { return std::to_string(bytes / kMegabyte) + " MB"; }

}  // namespace

MemoryBudget::MemoryBudget(const SimulatorOptions& options, const HeldMemory& held)
    : _bytes(allowed(options)),
      _held(held),
      _lineCount(options.delivery.lineCount),
      _roomForBytes(ringRoomFor(options)),
      _copies(mayFault(options.faults) ? kCopiesForFaults : 0) {}

std::size_t MemoryBudget::fixedBytes(const frames::ImageFormat& format) const {
    const std::size_t ring = ImageRing::memoryBytesFor(std::max(format.bytes(), _roomForBytes), _lineCount);
    return _held.images + std::max(_held.ring, ring) + _copies * format.bytes();
}

std::string MemoryBudget::problem(const frames::ImageFormat& format, std::size_t sourceBytes) const {
    const std::size_t needed = fixedBytes(format) + sourceBytes;
    if (needed <= _bytes) return {};
    // If true, smaller images would need as much memory.
    const bool isRoom = _roomForBytes > format.bytes();
    const bool isMachine = _bytes == machineBytes();
    const std::string room =
        isRoom ? " that has room for the images of a camera (" + formatText(kDefaultFormat) + ")" : "";
    return "images of " + formatText(format) + ", take " + megabytes(needed + kMegabyte - 1) + " with a ring of " +
           std::to_string(_lineCount) + room + (_held.images != 0 ? " and the images so far" : "") +
           (isMachine ? ", and this machine has " : ", and --max-memory allows ") + megabytes(_bytes) +
           (isMachine ? ": " : ": allow more, ") +
           (isRoom ? std::string("give --size or --no-ask, which need no such room, or take fewer --lines")
                   : std::string(isMachine ? "" : "or ") + "take smaller images or fewer --lines");
}

}  // namespace simulator
