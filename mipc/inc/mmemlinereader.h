// The reading end of a line fifo, safe against a process that may store anything into its header at any time. It takes
// the geometry once, at link, and checks it against the memory that really exists. Whatever is stored later is checked
// against that geometry, so it never returns a line outside the memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "mmemlinefifo.h"

/// A value: copies read from the same fifo, and no destructor unlinks. One thread. Returns no line while unlinked.
class MMemLineReader {
public:
    enum class Link {
        linked,
        noHeader,   // the memory is too small for a header
        hasReader,  // a reader is attached, or memory is not aligned; with an entry in the error trace
    };

    /// What makes a fifo unreadable until it is linked again.
    enum class Damage {
        none,
        slotsDoNotFit,
        shortLines,         // shorter than the required least length
        otherGeometry,      // differs from the geometry taken at link
        impossibleIndices,  // outside the slots
    };

    /// Returns whether the fifo's reader has its mark set. Tests use another function, which acts between two steps.
    using MarkLook = int (*)(const void* memory);
    explicit MMemLineReader(MarkLook look) : _hasMark(look) {}
    MMemLineReader() = default;

    /// Attaches as the reader and takes the geometry; damage says what is wrong with it. A fifo that nobody has created
    /// yet has no slots and is not damaged.
    /// @param memorySize       Bytes that may be accessed.
    /// @param leastLineLength  Least length of a line in bytes.
    Link link(void* memory, std::size_t memorySize, std::size_t leastLineLength);

    /// Detaches. @return The memory that was linked; null if none was.
    void* unlink();

    /// The oldest waiting line, in place, valid until release. Null when no line waits, the fifo has no reader, it is
    /// damaged, or it is being recreated.
    const unsigned char* peek();

    /// Returns that line's slot to the writer. Does nothing when no line was taken, or when the fifo is no longer the
    /// one that the line was taken from: recreated, emptied, or at another read index.
    void release();

    void* memory() const { return _memory; }
    std::uint64_t lineLength() const { return _lineLength; }
    std::uint64_t slotCount() const { return _slotCount; }
    bool isReadable() const { return _readable; }
    Damage damage() const { return _damage; }

    /// The header in which damage was found.
    const LineFifoHeader& damagedHeader() const { return _found; }

private:
    void takeGeometry(std::size_t memorySize, std::size_t leastLineLength);
    const unsigned char* takeFront();
    bool isRecreated() const;

    MarkLook _hasMark = MMemLineFifo_IsReaderAttached;
    void* _memory = nullptr;
    std::uint64_t _lineLength = 0;
    std::uint64_t _slotCount = 0;         // 0 while no writer has created the fifo
    std::optional<std::uint64_t> _front;  // slot that peek returned and that is not released yet
    bool _readable = true;
    Damage _damage = Damage::none;
    LineFifoHeader _found{};
};
