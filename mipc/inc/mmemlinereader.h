// The reading end of a line fifo beside a process that may store anything into its header at any time. The geometry is
// taken once, at link, and checked against the memory that is really there; what is stored later is checked against it,
// so that no line outside the memory is ever handed out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "mmemlinefifo.h"

/// A value: copies read from the same fifo, and nothing is unlinked by itself. One thread. Unlinked it gives no line.
class MMemLineReader {
public:
    enum class Link {
        linked,
        noHeader,   // the memory is too small for one
        hasReader,  // or is not aligned; with an entry in the error trace
    };

    /// What made a fifo unreadable until it is linked anew.
    enum class Damage {
        none,
        slotsDoNotFit,
        shortLines,         // shorter than the least that was asked for
        otherGeometry,      // than the one that was taken
        impossibleIndices,  // in the slots that there are
    };

    /// Tells whether the fifo's reader has its mark set; another one for tests that act between two steps.
    using MarkLook = int (*)(const void* memory);
    explicit MMemLineReader(MarkLook look) : _hasMark(look) {}
    MMemLineReader() = default;

    /// Attaches as the reader and takes the geometry; damage tells what is wrong with that. A fifo that nobody has laid
    /// yet has no slots, and nothing is wrong with it.
    /// @param memorySize       Bytes that can be touched.
    /// @param leastLineLength  Bytes that each line has to have.
    Link link(void* memory, std::size_t memorySize, std::size_t leastLineLength);

    /// Detaches. @return The memory that was linked; null for none.
    void* unlink();

    /// The oldest waiting line, in place, valid until release; null when none waits, when the fifo has no reader, once
    /// it is damaged, or while it is laid anew.
    const unsigned char* peek();

    /// Gives that line's slot back to the writer; nothing when none was taken since, or when the fifo is no longer
    /// the one that the line was taken from: recreated, emptied, or at another read index.
    void release();

    void* memory() const { return _memory; }
    std::uint64_t lineLength() const { return _lineLength; }
    std::uint64_t slotCount() const { return _slotCount; }
    bool isReadable() const { return _readable; }
    Damage damage() const { return _damage; }

    /// The header in which the damage was found.
    const LineFifoHeader& damagedHeader() const { return _found; }

private:
    void takeGeometry(std::size_t memorySize, std::size_t leastLineLength);
    const unsigned char* takeFront();
    bool isLaidAnew() const;

    MarkLook _hasMark = MMemLineFifo_IsReaderAttached;
    void* _memory = nullptr;
    std::uint64_t _lineLength = 0;
    std::uint64_t _slotCount = 0;         // 0 while no writer has laid the fifo
    std::optional<std::uint64_t> _front;  // slot that peek gave and release has not given back
    bool _readable = true;
    Damage _damage = Damage::none;
    LineFifoHeader _found{};
};
