// Counts the memory that this test program uses.
#pragma once

#include <cstddef>

namespace test {

/// Greatest number of bytes in use since this was created, minus those in use at that time.
class MemoryPeak {
public:
    MemoryPeak();
    std::size_t bytes() const;

private:
    std::size_t _before;
};

/// Bytes in use now.
std::size_t takenMemory();

}  // namespace test
