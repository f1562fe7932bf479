// Shared by the tests of both fifos: the header as eight 64-bit words, and waits with a limit.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "platform.h"

namespace test {

/// A field of the header, by its offset.
inline std::uint64_t wordAt(const unsigned char* memory, std::size_t offset) {
    std::uint64_t word = 0;
    std::memcpy(&word, memory + offset, sizeof word);
    return word;
}

inline void setWordAt(unsigned char* memory, std::size_t offset, std::uint64_t word) {
    std::memcpy(memory + offset, &word, sizeof word);
}

/// The entry for a data area that is not on an 8-byte boundary.
inline std::string notAligned(const std::string& function, std::uintptr_t dataArea) {
    char shown[200];
    platform_format(shown, sizeof shown, "(): Start address of data (%p) is not aligned to 8",
                    reinterpret_cast<void*>(dataArea));
    return function + shown;
}

/// Ends a loop when nothing arrives.
class LimitedWait {
public:
    /// Yields the processor and returns false until the limit is over.
    bool isOver() {
        std::this_thread::yield();
        return std::chrono::steady_clock::now() > _end;
    }

private:
    std::chrono::steady_clock::time_point _end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
};

}  // namespace test
