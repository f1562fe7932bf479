// Line fifo: one writing process, one reading process, slots ("lines") of one fixed size, no locks, no copies.
// These bytes are shared between processes; docs/wire-format.md draws them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// Start of a line fifo, little-endian, on an 8-byte boundary. A ring of slotCount slots holds slotCount - 1 lines: it
/// is empty when both indices are equal, and full when one more line would make them equal.
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

/// Bytes of memory for a fifo of lineCount lines.
constexpr std::size_t MMemLineFifo_MemoryBytes(std::size_t lineCount, std::size_t lineLength) {
    return sizeof(LineFifoHeader) + (lineCount + 1) * lineLength;
}

/// Whether all slots fit into memorySize bytes. The header is a copy, taken at one moment.
constexpr bool MMemLineFifo_Fits(const LineFifoHeader& header, std::size_t memorySize) {
    if (memorySize < sizeof header) return false;
    // Division, not multiplication: the product of two foreign numbers may wrap.
    return header.slotCount == 0 || header.lineLength <= (memorySize - sizeof header) / header.slotCount;
}

/// Whether both indices lie within the slots.
constexpr bool MMemLineFifo_HasPossibleIndices(const LineFifoHeader& header) {
    return header.readIndex < header.slotCount && header.writeIndex < header.slotCount;
}

// Every call takes the header's address in the caller's mapping. For null the result is 0 or null, without an entry.
// Failures that leave an entry in the error trace say so; nothing is thrown.

// ---- writing side

/// Creates an empty fifo for lineCount lines of lineLength bytes. A reader that was attached before is detached.
/// @param memory  At least MMemLineFifo_MemoryBytes; the size is not checked here.
/// @return        1; 0, with an entry, when memory is not 8-byte aligned. There is no writer and no reader then.
int MMemLineFifo_Create(void* memory, std::size_t lineCount, std::size_t lineLength);

/// Creates the fifo with as many slots as fit into memorySize bytes, at least two.
/// @return  1; 0, with an entry, when lineLength is 0, fewer than two slots fit, or memory is not aligned.
int MMemLineFifo_CreateBySize(void* memory, std::size_t memorySize, std::size_t lineLength);

/// Detaches the writer. Waiting lines stay readable.
void MMemLineFifo_Destroy(void* memory);

/// The slot to fill next, in place, even when the ring is full; null while there is no writer.
void* MMemLineFifo_GetWriteLine(void* memory);

/// Publishes the slot that GetWriteLine returned. 1; 0, without an entry, when the ring is full: try again later.
int MMemLineFifo_PutLine(void* memory);

// ---- reading side

/// Attaches the one reader, with or without a writer.
/// @return  1; 0, with an entry, when a reader is attached or memory is not 8-byte aligned.
int MMemLineFifo_Link(void* memory);

/// Detaches the reader. Lines that it has not released wait for the next one.
void MMemLineFifo_Unlink(void* memory);

/// Address of the oldest waiting line, in place. Called by the reading thread only.
/// @return  lineLength bytes, valid until MMemLineFifo_ReleaseLine; null while no reader is linked or no line waits.
void* MMemLineFifo_GetReadLine(void* memory);

/// The slot of a line that GetReadLine returned, and the slot count that the reader has checked.
struct LineFifoSlot {
    std::uint64_t index;
    std::uint64_t slotCount;
};

/// Returns the oldest line's slot to the writer; does nothing on an empty fifo.
/// @param taken  For a reader while other processes store into the header (MMemLineReader): this slot is returned, and
///               only while the fifo's read index still points to it; the header's slot count is not used. Null: the
///               header is trusted.
void MMemLineFifo_ReleaseLine(void* memory, const LineFifoSlot* taken = nullptr);

// ---- either side

/// Number of waiting lines, 0 .. slotCount - 1.
std::size_t MMemLineFifo_GetCount(const void* memory);

/// Number of lines that can be put before the ring is full.
std::size_t MMemLineFifo_GetFree(const void* memory);

/// Bytes per line.
std::size_t MMemLineFifo_GetLineLength(const void* memory);

/// 1 while a writer, or a reader, has its mark set. A process that died leaves its mark.
int MMemLineFifo_IsWriterAttached(const void* memory);
int MMemLineFifo_IsReaderAttached(const void* memory);
