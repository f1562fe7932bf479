// Byte fifo: one writing process, one reading process, a ring of bytes in shared memory, no locks. A write goes in
// whole or not at all; a read takes what is there. These bytes are shared between processes; docs/wire-format.md draws
// them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// What a byte fifo begins with, little-endian, on an 8-byte boundary. A ring of dataSize bytes holds dataSize - 1:
/// empty when both offsets are equal, full when one byte more would make them equal.
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

/// Bytes of memory that a fifo needs beside the size that it is created with: header and the byte that stays free.
constexpr std::size_t kMMemFifoOverhead = sizeof(MMemFifo) + 1;

// Every call takes the header's address in the caller's mapping. Null is answered with 0, silently. Failures that leave
// an entry in the error trace say so; nothing is thrown. Bytes are copied to and from the caller's own mapping, never
// through an address that a mark holds.
//
// What the other process stored is not trusted. Write and Read therefore take the size of the caller's mapping, from
// the header on, where it is known: they touch nothing beyond it, whatever the header says.

// ---- writing side

/// Lays an empty fifo for size bytes. Whoever read from it before is detached.
/// @param memory  At least size + kMMemFifoOverhead bytes; that is not checked here.
/// @return        1; 0, with an entry, when size is SIZE_MAX or memory is not 8-byte aligned: there is then no writer.
int MMemFifo_Create(void* memory, std::size_t size);

/// Detaches the writer. Bytes that wait stay readable.
void MMemFifo_Destroy(void* memory);

/// Writes count bytes as one unit.
/// @return  1; 0, silently and with nothing changed, when they do not all fit, no writer is attached, or the header is
///          damaged (MMemFifo_IsSound).
int MMemFifo_Write(void* memory, const void* source, std::size_t count, std::size_t memorySize = SIZE_MAX);

// ---- reading side

/// Attaches the one reader; a writer need not be there yet.
/// @return  1; 0, with an entry, when a reader is attached or memory is not 8-byte aligned.
int MMemFifo_Link(void* memory);

/// Detaches the reader. Bytes that it has not read wait for the next one.
void MMemFifo_Unlink(void* memory);

/// Reads what waits, at most maximum bytes.
/// @return  Bytes copied into target; 0 on an empty fifo and while no reader is attached. A damaged header gives 0 too,
///          and what seems to wait is dropped, so that nobody tries for ever.
std::size_t MMemFifo_Read(void* memory, void* target, std::size_t maximum, std::size_t memorySize = SIZE_MAX);

/// Drops everything that waits.
/// @return  The new read offset, no count; kept on purpose: docs/oddities.md, clear-returns-offset
std::size_t MMemFifo_Clear(void* memory);

// ---- either side

/// Bytes that wait.
std::size_t MMemFifo_GetUsed(const void* memory);

/// Bytes that can be written before the ring is full.
std::size_t MMemFifo_GetFree(const void* memory);

/// Where the next write begins.
std::size_t MMemFifo_GetWriteOffset(const void* memory);

/// Bytes of the ring as the header has them: one more than the fifo was made for.
std::size_t MMemFifo_GetDataSize(const void* memory);

/// 1 while a writer, or a reader, has its mark set. A process that died keeps its mark.
int MMemFifo_IsWriterAttached(const void* memory);
int MMemFifo_IsReaderAttached(const void* memory);

/// 1 while the reader's mark is the one that a reader sets who has the fifo mapped at address. Another process may have
/// it mapped there, too.
int MMemFifo_HasReaderMarkOf(const void* memory, const void* address);

/// 1 when the ring lies in memorySize bytes and both offsets lie in the ring; 0 when somebody has damaged the header.
int MMemFifo_IsSound(const void* memory, std::size_t memorySize = SIZE_MAX);
