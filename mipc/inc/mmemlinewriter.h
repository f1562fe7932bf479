// The writing end of a line fifo beside readers that may store anything into its header. What the writer alone stores
// there is kept here too; the header's copy of it is compared, never used, so that no store of another process leads
// out of the fifo.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "mmemlinefifo.h"

/// A field of the header that another process has overwritten.
struct LineFifoDamage {
    const char* field;     // as docs/wire-format.md names it
    std::uint64_t found;   // what that one has stored
    const char* known;     // what the next number says of it: "it was" or "it is at most"
    std::uint64_t number;  // what the writer had stored; of the read index: the greatest that is possible
};

/// One thread. Without a ring, before lay and after leave, nothing waits and there is no slot.
class MMemLineWriter {
public:
    /// Lays an empty ring. Whoever read from it before is detached.
    ///
    /// @param memory  At least MMemLineFifo_MemoryBytes; stays mapped until leave.
    /// @return        False, with an entry in the error trace, when memory is not 8-byte aligned.
    bool lay(void* memory, std::size_t lineCount, std::size_t lineBytes);

    /// Recreates the ring, empty, with the same slots. A reader is detached and comes back at the next signal. The slot
    /// that it may be looking at stays as it is until a reader attaches and takes a line.
    void layAround();

    /// Stores other indices and another geometry into the header, for tests of readers. Nothing but lay or leave may
    /// follow. The marks stay, so that an attached reader looks at it.
    void spoil(const LineFifoHeader& values);

    /// Detaches. Lines that wait stay readable.
    void leave();

    /// What somebody else has stored into the header since the ring was laid.
    std::optional<LineFifoDamage> damage() const;

    /// The slot to fill next; null when the ring is full. Once given it stays the writer's until put, though a host may
    /// move the read index meanwhile: a reader has no way of taking room back.
    std::uint8_t* slot();

    /// Its number, 0 … lineCount.
    std::size_t slotIndex() const { return static_cast<std::size_t>(_own.writeIndex); }

    /// Publishes that slot. False when the ring is full; then it has to be asked for again.
    bool put();

    /// Slot that the reader takes next. While the header has none that is possible: the last one that was.
    std::uint64_t readIndex() const;

    bool hasReader() const;

    /// Lines that wait, 0 … lineCount.
    std::size_t waiting() const;

private:
    bool layBehindReader();
    std::uint64_t possible(std::uint64_t read) const;  // a read index; the last possible one instead of any other
    bool isFull() const { return behind(_own.writeIndex) == readIndex(); }
    std::uint64_t behind(std::uint64_t index) const { return index + 1 == _own.slotCount ? 0 : index + 1; }

    LineFifoHeader* _header = nullptr;  // null: no ring
    LineFifoHeader _own{};              // what the writer stored; without the reader's fields
    bool _given = false;                // the slot to fill next
    mutable std::uint64_t _lastReadIndex = 0;
    std::optional<std::uint64_t> _overwritten;  // write index of another process, which put has replaced
};
