// A simulator that writes as fast as its images are taken, for tests with two threads or two processes.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <numeric>
#include <thread>
#include <vector>

#include "simulator_ring.h"

namespace test {

/// Each byte of image n; never that of a faked image.
inline unsigned char fillOf(std::uint64_t counter) { return static_cast<unsigned char>(100 + counter % 100); }

/// Writes images first … last as fast as they are taken, and waits until all were. False when nobody takes them for a
/// minute; a stop ends it early.
inline bool writeImages(SimulatorRing& ring, std::uint64_t first, std::uint64_t last,
                        const std::atomic<bool>* stop = nullptr) {
    using namespace std::chrono_literals;
    for (std::uint64_t i = first; i <= last; ++i) {
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        while (!ring.put(i, static_cast<double>(i), 0.001, fillOf(i))) {
            if (stop && *stop) return true;
            if (std::chrono::steady_clock::now() > deadline) return false;
            ring.signal();
            std::this_thread::sleep_for(100us);
        }
        ring.signal();
        if (stop && *stop) return true;
    }
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (MMemLineFifo_GetCount(ring.memory()) > 0) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        ring.signal();
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

/// {first, …, last}
inline std::vector<std::uint32_t> consecutive(std::uint32_t first, std::uint32_t last) {
    std::vector<std::uint32_t> numbers(last - first + 1);
    std::iota(numbers.begin(), numbers.end(), first);
    return numbers;
}

}  // namespace test
