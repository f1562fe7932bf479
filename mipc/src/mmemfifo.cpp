#include "mmemfifo.h"

#include <algorithm>
#include <cstring>

#include "errtrace.h"
#include "fifo_header.h"
#include "platform.h"

using namespace fifo_header;

namespace {

const char kFile[] = "mipc/src/mmemfifo";

constexpr std::size_t kWriterMark = offsetof(MMemFifo, writerMark);
constexpr std::size_t kWriteOffset = offsetof(MMemFifo, writeOffset);
constexpr std::size_t kReaderMark = offsetof(MMemFifo, readerMark);
constexpr std::size_t kReadOffset = offsetof(MMemFifo, readOffset);
constexpr std::size_t kDataSize = offsetof(MMemFifo, dataSize);

// A copy of the header, taken at one moment. Copying uses only this, because the other process may store meanwhile.
struct Ring {
    std::uint64_t write;
    std::uint64_t read;
    std::uint64_t size;

    std::uint64_t used() const { return write - read + (write < read ? size : 0); }
    std::uint64_t space() const { return read - write + (read > write ? 0 : size); }
    std::uint64_t next(std::uint64_t offset, std::uint64_t count) const {
        return count < size - offset ? offset + count : count - (size - offset);
    }
    bool isSound(std::size_t memorySize) const {
        return memorySize >= kHeaderSize && size <= memorySize - kHeaderSize && write < size && read < size;
    }
};

Ring ringOf(const void* memory) {
    // Each acquire pairs with the other side's release: once its offset is seen, its copy is done.
    return {load(memory, kWriteOffset, std::memory_order_acquire), load(memory, kReadOffset, std::memory_order_acquire),
            load(memory, kDataSize, std::memory_order_relaxed)};
}

// Attached, and not by a damaged mark at an address where nobody can attach.
bool hasMark(const void* memory, std::size_t mark) {
    return memory && isAligned(memory) && load(memory, mark, std::memory_order_relaxed) != 0;
}

unsigned char* dataOf(void* memory) { return static_cast<unsigned char*>(memory) + kHeaderSize; }

void copyIn(void* memory, const Ring& ring, const void* source, std::size_t count) {
    const auto* const bytes = static_cast<const unsigned char*>(source);
    const std::size_t first = std::min(count, static_cast<std::size_t>(ring.size - ring.write));
    std::memcpy(dataOf(memory) + ring.write, bytes, first);
    if (first < count) std::memcpy(dataOf(memory), bytes + first, count - first);
}

void copyOut(void* memory, const Ring& ring, void* target, std::size_t count) {
    auto* const bytes = static_cast<unsigned char*>(target);
    const std::size_t first = std::min(count, static_cast<std::size_t>(ring.size - ring.read));
    std::memcpy(bytes, dataOf(memory) + ring.read, first);
    if (first < count) std::memcpy(bytes + first, dataOf(memory), count - first);
}

}  // namespace

int MMemFifo_Create(void* memory, std::size_t size) {
    if (!memory) return 0;
    store(memory, kDataSize, static_cast<std::uint64_t>(size) + 1, std::memory_order_relaxed);
    if (size == SIZE_MAX) {
        M_ERRTRACE("MMemFifo_Create(): size %Iu is not supported", size);
        store(memory, kWriterMark, 0, std::memory_order_release);
        return 0;
    }
    store(memory, kWriteOffset, 0, std::memory_order_relaxed);
    // Release: whoever sees the mark sees the ring before it.
    store(memory, kWriterMark, dataAreaOf(memory), std::memory_order_release);
    store(memory, kReaderMark, 0, std::memory_order_release);
    store(memory, kReadOffset, 0, std::memory_order_release);
    if (!isAligned(memory)) {
        M_ERRTRACE("MMemFifo_Create(): Start address of data (%p) is not aligned to %Iu", shown(dataAreaOf(memory)),
                   kAlignment);
        store(memory, kWriterMark, 0, std::memory_order_release);
        return 0;
    }
    if (!isFieldAligned(memory, kWriteOffset)) {
        // Impossible with an aligned header; the text is part of what the library may report.
        M_ERRTRACE("MMemFifo_Create(): Address of write offset (%p) is not aligned to %Iu",
                   shown(reinterpret_cast<std::uintptr_t>(memory) + kWriteOffset), kAlignment);
        store(memory, kWriterMark, 0, std::memory_order_release);
        return 0;
    }
    return 1;
}

void MMemFifo_Destroy(void* memory) {
    if (memory) store(memory, kWriterMark, 0, std::memory_order_release);
}

int MMemFifo_Write(void* memory, const void* source, std::size_t count, std::size_t memorySize) {
    if (!hasMark(memory, kWriterMark)) return 0;
    const Ring ring = ringOf(memory);
    if (!ring.isSound(memorySize) || ring.space() <= count) return 0;
    if (count == 0) return 1;
    copyIn(memory, ring, source, count);
    fullBarrier();
    store(memory, kWriteOffset, ring.next(ring.write, count), std::memory_order_release);
    return 1;
}

int MMemFifo_Link(void* memory) {
    if (!memory) return 0;
    if (!takeMark(memory, kReaderMark, dataAreaOf(memory))) {
        // kept on purpose: docs/oddities.md, exlusive-reader
        M_ERRTRACE("MMemFifo_Link(): Fifo not initialized or already has an exlusive reader");
        return 0;
    }
    if (!isAligned(memory)) {  // nothing was stored: there is still no reader
        M_ERRTRACE("MMemFifo_Link(): Start address of data (%p) is not aligned to %Iu", shown(dataAreaOf(memory)),
                   kAlignment);
        return 0;
    }
    if (!isFieldAligned(memory, kWriteOffset)) {
        // Impossible with an aligned header; the text is part of what the library may report.
        M_ERRTRACE("MMemFifo_Link(): Address of write offset (%p) is not aligned to %Iu",
                   shown(reinterpret_cast<std::uintptr_t>(memory) + kWriteOffset), kAlignment);
        store(memory, kReaderMark, 0, std::memory_order_release);
        return 0;
    }
    return 1;
}

void MMemFifo_Unlink(void* memory) {
    if (memory) store(memory, kReaderMark, 0, std::memory_order_release);
}

std::size_t MMemFifo_Read(void* memory, void* target, std::size_t maximum, std::size_t memorySize) {
    if (!hasMark(memory, kReaderMark)) return 0;
    const Ring ring = ringOf(memory);
    if (ring.write == ring.read || maximum == 0) return 0;
    if (!ring.isSound(memorySize)) {
        MMemFifo_Clear(memory);
        return 0;
    }
    const std::size_t count = std::min(static_cast<std::size_t>(ring.used()), maximum);
    copyOut(memory, ring, target, count);
    fullBarrier();
    // A writer that recreated the ring during the copy has removed the mark. The copied bytes then belong to no ring,
    // and the new ring's offset must stay unchanged. If it recreates the ring between this check and the store, it
    // finds an offset that it did not store; the offset is inside the ring, so no byte outside is touched, and what
    // then seems to wait is treated as a foreign frame.
    if (!hasMark(memory, kReaderMark)) return 0;
    store(memory, kReadOffset, ring.next(ring.read, count), std::memory_order_release);
    return count;
}

std::size_t MMemFifo_Clear(void* memory) {
    if (!memory) return 0;
    const std::uint64_t write = load(memory, kWriteOffset, std::memory_order_acquire);
    store(memory, kReadOffset, write, std::memory_order_release);
    return static_cast<std::size_t>(write);
}

std::size_t MMemFifo_GetUsed(const void* memory) {
    return memory ? static_cast<std::size_t>(ringOf(memory).used()) : 0;
}

std::size_t MMemFifo_GetFree(const void* memory) {
    if (!memory) return 0;
    const std::uint64_t space = ringOf(memory).space();
    return space > 0 ? static_cast<std::size_t>(space - 1) : 0;
}

std::size_t MMemFifo_GetWriteOffset(const void* memory) {
    return memory ? static_cast<std::size_t>(load(memory, kWriteOffset, std::memory_order_acquire)) : 0;
}

std::size_t MMemFifo_GetDataSize(const void* memory) {
    return memory ? static_cast<std::size_t>(load(memory, kDataSize, std::memory_order_relaxed)) : 0;
}

int MMemFifo_IsWriterAttached(const void* memory) {
    return memory && load(memory, kWriterMark, std::memory_order_acquire) != 0 ? 1 : 0;
}

int MMemFifo_IsReaderAttached(const void* memory) {
    return memory && load(memory, kReaderMark, std::memory_order_acquire) != 0 ? 1 : 0;
}

int MMemFifo_HasReaderMarkOf(const void* memory, const void* address) {
    return memory && load(memory, kReaderMark, std::memory_order_acquire) == dataAreaOf(address) ? 1 : 0;
}

int MMemFifo_IsSound(const void* memory, std::size_t memorySize) {
    return memory && ringOf(memory).isSound(memorySize) ? 1 : 0;
}
