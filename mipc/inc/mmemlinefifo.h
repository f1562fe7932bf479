// Line fifo: one writing process, one reading process, slots ("lines") of one fixed size, no locks, no copies.
// These bytes are shared between processes; docs/wire-format.md draws them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// What a line fifo begins with, little-endian, on an 8-byte boundary. A ring of slotCount slots holds slotCount - 1
/// lines: empty when both indices are equal, full when one more would make them equal.
struct LineFifoHeader {
    std::uint64_t writerMark;  //  0  0: no writer; else address of slot 0 in the writer's process; stored by the writer
    std::uint64_t writeIndex;  //  8  slot filled next, 0 .. slotCount-1; stored by the writer
    std::uint64_t readerMark;  // 16  0: no reader; else address of slot 0 in the reader's process; stored by the reader
    std::uint64_t readIndex;   // 24  slot taken next, 0 .. slotCount-1; stored by the reader
    std::uint64_t lineLength;  // 32  bytes per slot; stored by the creator
    std::uint64_t slotCount;   // 40  requested lines + 1; stored by the creator
    std::uint64_t reserved[2];  // 48  not written
};                              // 64  slot 0 begins here
static_assert(std::is_trivially_copyable_v<LineFifoHeader> && sizeof(LineFifoHeader) == 64);
static_assert(offsetof(LineFifoHeader, writerMark) == 0 && offsetof(LineFifoHeader, writeIndex) == 8);
static_assert(offsetof(LineFifoHeader, readerMark) == 16 && offsetof(LineFifoHeader, readIndex) == 24);
static_assert(offsetof(LineFifoHeader, lineLength) == 32 && offsetof(LineFifoHeader, slotCount) == 40);

/// Bytes of memory that a fifo for lineCount lines needs.
constexpr std::size_t MMemLineFifo_MemoryBytes(std::size_t lineCount, std::size_t lineLength) {
    return sizeof(LineFifoHeader) + (lineCount + 1) * lineLength;
}

/// Whether the slots of a header, copied out at one moment, lie in memorySize bytes.
constexpr bool MMemLineFifo_Fits(const LineFifoHeader& header, std::size_t memorySize) {
    if (memorySize < sizeof header) return false;
    // Divided, not multiplied: the product of two foreign numbers may wrap.
    return header.slotCount == 0 || header.lineLength <= (memorySize - sizeof header) / header.slotCount;
}

/// Whether both indices are possible in its slots.
constexpr bool MMemLineFifo_HasPossibleIndices(const LineFifoHeader& header) {
    return header.readIndex < header.slotCount && header.writeIndex < header.slotCount;
}

// Every call takes the header's address in the caller's mapping. Null is answered with 0 or null, silently.
// Failures that leave an entry in the error trace say so; nothing is thrown.

// ---- writing side

/// Lays an empty fifo for lineCount lines of lineLength bytes. Whoever read from it before is detached.
/// @param memory  At least MMemLineFifo_MemoryBytes; the size is not checked here.
/// @return        1; 0, with an entry, when memory is not 8-byte aligned: there is then no writer and no reader.
int MMemLineFifo_Create(void* memory, std::size_t lineCount, std::size_t lineLength);

/// Lays the fifo with the most slots that fit into memorySize bytes, at least two.
/// @return  1; 0, with an entry, when lineLength is 0, fewer than two slots fit, or memory is not aligned.
int MMemLineFifo_CreateBySize(void* memory, std::size_t memorySize, std::size_t lineLength);

/// Detaches the writer. Lines that wait stay readable.
void MMemLineFifo_Destroy(void* memory);

/// The slot to fill next, in place, also when the ring is full; null while there is no writer.
void* MMemLineFifo_GetWriteLine(void* memory);

/// Publishes the slot that GetWriteLine gave. 1; 0, silently, when the ring is full: try again later.
int MMemLineFifo_PutLine(void* memory);

// ---- reading side

/// Attaches the one reader; a writer need not be there yet.
/// @return  1; 0, with an entry, when a reader is attached or memory is not 8-byte aligned.
int MMemLineFifo_Link(void* memory);

/// Detaches the reader. Lines that it has not released wait for the next one.
void MMemLineFifo_Unlink(void* memory);

/// Address of the oldest waiting line, in place. Called by the reading thread only.
/// @return  lineLength bytes, valid until MMemLineFifo_ReleaseLine; null while no reader is linked or no line waits.
void* MMemLineFifo_GetReadLine(void* memory);

/// A slot of which a reader knows that GetReadLine gave its line, and the slot count that it has checked.
struct LineFifoSlot {
    std::uint64_t index;
    std::uint64_t slotCount;
};

/// Gives the oldest line's slot back to the writer; nothing on an empty fifo.
/// @param taken  For a reader beside whom others store (MMemLineReader): this slot is given back, and only while the
///               fifo still stands at it; the header's own slot count is not looked at. Null: the header is trusted.
void MMemLineFifo_ReleaseLine(void* memory, const LineFifoSlot* taken = nullptr);

// ---- either side

/// Lines that wait, 0 .. slotCount - 1.
std::size_t MMemLineFifo_GetCount(const void* memory);

/// Lines that can be put before the ring is full.
std::size_t MMemLineFifo_GetFree(const void* memory);

/// Bytes per line.
std::size_t MMemLineFifo_GetLineLength(const void* memory);

/// 1 while a writer, or a reader, has its mark set. A process that died keeps its mark.
int MMemLineFifo_IsWriterAttached(const void* memory);
int MMemLineFifo_IsReaderAttached(const void* memory);
