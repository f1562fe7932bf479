// Byte fifo: one writing process, one reading process, a ring of bytes in shared memory, no locks. A write is complete
// or does nothing; a read takes what is there. These bytes are shared between processes; docs/wire-format.md draws
// them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// Start of a byte fifo, little-endian, on an 8-byte boundary. A ring of dataSize bytes holds dataSize - 1 bytes: it is
/// empty when both offsets are equal, and full when one more byte would make them equal.
struct MMemFifo {
    std::uint64_t writerMark;   //  0  0: no writer; else address of the data in its process; stored by the writer
    std::uint64_t writeOffset;  //  8  byte written next, 0 .. dataSize-1; stored by the writer
    std::uint64_t readerMark;   // 16  0: no reader; else address of the data in its process; stored by the reader
    std::uint64_t readOffset;   // 24  byte read next, 0 .. dataSize-1; stored by the reader
    std::uint64_t dataSize;     // 32  bytes of the ring, requested size + 1; stored by the creator
    std::uint64_t reserved[3];  // 40  not written
};                              // 64  the ring's bytes begin here
static_assert(std::is_trivially_copyable_v<MMemFifo> && sizeof(MMemFifo) == 64);
static_assert(offsetof(MMemFifo, writerMark) == 0 && offsetof(MMemFifo, writeOffset) == 8);
static_assert(offsetof(MMemFifo, readerMark) == 16 && offsetof(MMemFifo, readOffset) == 24);
static_assert(offsetof(MMemFifo, dataSize) == 32 && offsetof(MMemFifo, reserved) == 40);

/// Bytes of memory that a fifo needs in addition to its size: the header and the byte that stays free.
constexpr std::size_t kMMemFifoOverhead = sizeof(MMemFifo) + 1;

// Every call takes the header's address in the caller's mapping. For null the result is 0, without an entry. Failures
// that leave an entry in the error trace say so; nothing is thrown. Bytes are copied to and from the caller's own
// mapping, never through an address stored in a mark.
//
// Nothing that the other process stored is trusted. Write and Read therefore take the size of the caller's mapping,
// from the header on, where it is known: they touch nothing beyond it, whatever the header says.

// ---- writing side

/// Creates an empty fifo for size bytes. A reader that was attached before is detached.
/// @param memory  At least size + kMMemFifoOverhead bytes; the size is not checked here.
/// @return        1; 0, with an entry, when size is SIZE_MAX or memory is not 8-byte aligned. There is no writer then.
int MMemFifo_Create(void* memory, std::size_t size);

/// Detaches the writer. Waiting bytes stay readable.
void MMemFifo_Destroy(void* memory);

/// Writes count bytes, all or none.
/// @return  1; 0, without an entry or a change, when they do not all fit, no writer is attached, or the header is
///          damaged (MMemFifo_IsSound).
int MMemFifo_Write(void* memory, const void* source, std::size_t count, std::size_t memorySize = SIZE_MAX);

// ---- reading side

/// Attaches the one reader, with or without a writer.
/// @return  1; 0, with an entry, when a reader is attached or memory is not 8-byte aligned.
int MMemFifo_Link(void* memory);

/// Detaches the reader. Unread bytes wait for the next one.
void MMemFifo_Unlink(void* memory);

/// Reads at most maximum of the waiting bytes.
/// @return  Bytes copied into target; 0 when the fifo is empty or no reader is attached. If the header is damaged, the
///          result is 0 too, and everything that seems to wait is dropped, so that nobody retries for ever.
std::size_t MMemFifo_Read(void* memory, void* target, std::size_t maximum, std::size_t memorySize = SIZE_MAX);

/// Drops all waiting bytes.
/// @return  The new read offset, no count; kept on purpose: docs/oddities.md, clear-returns-offset
std::size_t MMemFifo_Clear(void* memory);

// ---- either side

/// Number of waiting bytes.
std::size_t MMemFifo_GetUsed(const void* memory);

/// Number of bytes that can be written before the ring is full.
std::size_t MMemFifo_GetFree(const void* memory);

/// Offset of the next write.
std::size_t MMemFifo_GetWriteOffset(const void* memory);

/// Size of the ring according to the header: one more than the requested size.
std::size_t MMemFifo_GetDataSize(const void* memory);

/// 1 while a writer, or a reader, has its mark set. A process that died leaves its mark.
int MMemFifo_IsWriterAttached(const void* memory);
int MMemFifo_IsReaderAttached(const void* memory);

/// 1 while the reader's mark is the one that a reader sets who has mapped the fifo at address. Another process may have
/// mapped it at the same address.
int MMemFifo_HasReaderMarkOf(const void* memory, const void* address);

/// 1 when the ring fits into memorySize bytes and both offsets are inside the ring; 0 when the header is damaged.
int MMemFifo_IsSound(const void* memory, std::size_t memorySize = SIZE_MAX);
