// A long stream of bytes in pieces of any size; its position determines each byte, for both sides.
#pragma once

#include <cstdint>
#include <random>

#include "fifo_words.h"
#include "mmemfifo.h"

namespace test {

constexpr std::size_t kLargestPiece = 64;

inline unsigned char streamByte(std::uint64_t position) {
    return static_cast<unsigned char>(position * 0x9E3779B97F4A7C15u >> 56);
}

/// Sizes of pieces, 1 to kLargestPiece; each seed gives its own sequence.
class PieceSizes {
public:
    explicit PieceSizes(std::uint32_t seed) : _random(seed) {}
    std::size_t next() { return _random() % kLargestPiece + 1; }

private:
    std::minstd_rand _random;
};

inline std::uint64_t streamBytes(int pieces) {
    PieceSizes sizes(1);
    std::uint64_t sum = 0;
    for (int piece = 0; piece < pieces; ++piece) sum += sizes.next();
    return sum;
}

/// Writes the stream; false when the reader takes nothing for a long time.
inline bool writeStream(void* memory, int pieces) {
    PieceSizes sizes(1);
    std::uint64_t position = 0;
    for (int piece = 0; piece < pieces; ++piece) {
        unsigned char bytes[kLargestPiece];
        const std::size_t count = sizes.next();
        for (std::size_t byte = 0; byte < count; ++byte) bytes[byte] = streamByte(position++);
        if (MMemFifo_Write(memory, bytes, count)) continue;
        LimitedWait limit;
        while (!MMemFifo_Write(memory, bytes, count)) {
            if (limit.isOver()) return false;
        }
    }
    return true;
}

struct StreamResult {
    std::uint64_t bytes = 0;
    std::uint64_t wrong = 0;  // bytes that differ from the stream
};

/// Reads pieces of its own sizes until the writer has gone and nothing waits, or nothing arrives for a long time.
inline StreamResult readStream(void* memory) {
    PieceSizes sizes(2);
    StreamResult result;
    for (;;) {
        unsigned char bytes[kLargestPiece];
        std::size_t count = MMemFifo_Read(memory, bytes, sizes.next());
        LimitedWait limit;
        while (count == 0) {
            const bool gone = !MMemFifo_IsWriterAttached(memory);
            count = MMemFifo_Read(memory, bytes, kLargestPiece);  // again: the last bytes came before the writer left
            if (count == 0 && (gone || limit.isOver())) return result;
        }
        for (std::size_t byte = 0; byte < count; ++byte) result.wrong += bytes[byte] != streamByte(result.bytes++);
    }
}

}  // namespace test
