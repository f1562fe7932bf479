// The memory of the picture decoder, counted and limited: a small file could make it take all that the machine has.
#pragma once

#include <cstddef>

namespace frames {

/// Limits what the decoder takes on this thread, as long as the object lives. One at a time.
class DecoderMemory {
public:
    enum class Refusal {
        none,
        limit,     // all blocks together would have taken more than the limit
        inflated,  // the pixels would have inflated to more than they may
        system,    // the system has no more
    };

    /// @param limit          Bytes that all blocks may take at a time.
    /// @param inflatedBytes  Bytes that the block which the pixels inflate into may grow to.
    DecoderMemory(std::size_t limit, std::size_t inflatedBytes);
    ~DecoderMemory();
    DecoderMemory(const DecoderMemory&) = delete;
    DecoderMemory& operator=(const DecoderMemory&) = delete;

    /// Why the last block was refused; the decoder has given up then.
    Refusal refusal() const { return _refusal; }

    /// Bytes that the blocks take now.
    std::size_t taken() const { return _taken; }

    // ---- what the decoder calls; blocks that no object watches are not limited

    /// A block of zeros, or null: the decoder of damaged files reads tables that it never filled.
    static void* take(std::size_t bytes);

    /// A larger block with the content of another, which is then given back; null leaves the other as it is. Without
    /// another it is one for packed pixels: only a block of take() is one that pixels inflate into.
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
