// Counts and limits the memory of the picture decoder: a small file could make it use all memory of the machine.
#pragma once

#include <cstddef>

namespace frames {

/// Limits the decoder's memory on this thread as long as the object exists. One at a time.
class DecoderMemory {
public:
    enum class Refusal {
        none,
        limit,     // all blocks together would have exceeded the limit
        inflated,  // the inflated pixels would have exceeded their limit
        system,    // the system has no more memory
    };

    /// @param limit          Limit on the bytes of all blocks at a time.
    /// @param inflatedBytes  Limit on the bytes of the block that receives the inflated pixels.
    DecoderMemory(std::size_t limit, std::size_t inflatedBytes);
    ~DecoderMemory();
    DecoderMemory(const DecoderMemory&) = delete;
    DecoderMemory& operator=(const DecoderMemory&) = delete;

    /// Why the last block was refused; the decoder has then given up.
    Refusal refusal() const { return _refusal; }

    /// Bytes that the blocks use now.
    std::size_t taken() const { return _taken; }

    // ---- called by the decoder; blocks are not limited while no object exists

    /// Allocates a block of zeros, or returns null. Zeros because the decoder of damaged files reads tables that it
    /// never filled.
    static void* take(std::size_t bytes);

    /// Allocates a larger block with the content of another one, which is then freed; on null, the other one stays
    /// unchanged. Without another one, the block is for packed pixels: only blocks of take() receive inflated pixels.
    static void* grow(void* block, std::size_t bytes);

    static void giveBack(void* block);

private:
    enum class Kind { plain, packed };
    struct Head;

    static void* make(std::size_t bytes, Kind kind);
    bool allows(std::size_t bytes);

    std::size_t _limit;
    std::size_t _inflatedBytes;
    std::size_t _taken = 0;
    Refusal _refusal = Refusal::none;
};

}  // namespace frames
