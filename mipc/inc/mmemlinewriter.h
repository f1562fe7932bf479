// The writing end of a line fifo, safe against readers that may store anything into its header. It keeps its own copy
// of every field that only the writer stores. It compares the header with this copy but never uses the header's value,
// so no store of another process leads outside the fifo.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "mmemlinefifo.h"

/// A field of the header that another process has overwritten.
struct LineFifoDamage {
    const char* field;     // as docs/wire-format.md names it
    std::uint64_t found;   // what that process has stored
    const char* known;     // how the next number relates to it: "it was" or "it is at most"
    std::uint64_t number;  // what the writer had stored; for the read index: the greatest possible value
};

/// One thread. Without a ring, before lay and after leave, nothing waits and there is no slot.
class MMemLineWriter {
public:
    /// Creates an empty ring. A reader that was attached before is detached.
    ///
    /// @param memory  At least MMemLineFifo_MemoryBytes; must stay mapped until leave.
    /// @return        False, with an entry in the error trace, when memory is not 8-byte aligned.
    bool lay(void* memory, std::size_t lineCount, std::size_t lineBytes);

    /// Recreates the ring, empty, with the same slots. A reader is detached and attaches again at the next signal. The
    /// slot that it may still be reading stays unchanged until a reader attaches and takes a line.
    void recreate();

    /// Stores other indices and another geometry into the header, for tests of readers. Only lay or leave may follow.
    /// The marks stay, so an attached reader reads them.
    void spoil(const LineFifoHeader& values);

    /// Detaches. Waiting lines stay readable.
    void leave();

    /// Reports a field that somebody else has overwritten since the ring was created.
    std::optional<LineFifoDamage> damage() const;

    /// The slot to fill next; null when the ring is full. Once returned, it belongs to the writer until put, even if a
    /// host moves the read index in the meantime: a reader cannot take room back.
    std::uint8_t* slot();

    /// Index of that slot, 0 … lineCount.
    std::size_t slotIndex() const { return static_cast<std::size_t>(_own.writeIndex); }

    /// Publishes that slot. False when the ring is full; then call slot again.
    bool put();

    /// Slot that the reader takes next. While the header's value is impossible: the last possible one.
    std::uint64_t readIndex() const;

    bool hasReader() const;

    /// Number of waiting lines, 0 … lineCount.
    std::size_t waiting() const;

private:
    bool layBehindReader();
    std::uint64_t possible(std::uint64_t read) const;  // a read index; the last possible one instead of any other
    bool isFull() const { return behind(_own.writeIndex) == readIndex(); }
    std::uint64_t behind(std::uint64_t index) const { return index + 1 == _own.slotCount ? 0 : index + 1; }

    LineFifoHeader* _header = nullptr;  // null: no ring
    LineFifoHeader _own{};              // the writer's fields; the reader's fields are unused
    bool _given = false;                // slot returned the slot to fill next
    mutable std::uint64_t _lastReadIndex = 0;
    std::optional<std::uint64_t> _overwritten;  // write index stored by another process, which put has replaced
};
