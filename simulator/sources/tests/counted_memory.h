// Counts the memory of this test program.
#pragma once

#include <cstddef>

namespace test {

/// Greatest number of bytes that were taken at a time since this was made, beyond what was taken then.
class MemoryPeak {
public:
    MemoryPeak();
    std::size_t bytes() const;

private:
    std::size_t _before;
};

/// Bytes that are taken now.
std::size_t takenMemory();

}  // namespace test
