#include "mmemlinefifo.h"

#include "errtrace.h"
#include "fifo_header.h"
#include "platform.h"

using namespace fifo_header;

namespace {

const char kFile[] = "mipc/src/mmemlinefifo";

constexpr std::size_t kWriterMark = offsetof(LineFifoHeader, writerMark);
constexpr std::size_t kWriteIndex = offsetof(LineFifoHeader, writeIndex);
constexpr std::size_t kReaderMark = offsetof(LineFifoHeader, readerMark);
constexpr std::size_t kReadIndex = offsetof(LineFifoHeader, readIndex);
constexpr std::size_t kLineLength = offsetof(LineFifoHeader, lineLength);
constexpr std::size_t kSlotCount = offsetof(LineFifoHeader, slotCount);

// Computed from the caller's own address, never from a mark, because each process maps the fifo elsewhere. Computed
// with integers: numbers stored by others may lead anywhere, and the caller checks that.
void* slotAt(void* memory, std::uint64_t index) {
    return reinterpret_cast<void*>(
        static_cast<std::uintptr_t>(dataAreaOf(memory) + index * load(memory, kLineLength, std::memory_order_relaxed)));
}

// Advances the read index where others may store it, too: only from the slot that was taken. The step is valid in the
// ring that the line came from.
void releaseTaken(void* memory, std::uint64_t taken, std::uint64_t next) {
    std::atomic_ref<std::uint64_t> readIndex = fieldAt(memory, kReadIndex);
    std::uint64_t expected = taken;
    if (!readIndex.compare_exchange_strong(expected, next)) return;
    // A recreated ring begins at slot 0. If the taken slot was slot 0, the step may have happened in the new ring,
    // which would then seem to be full of old lines. The missing mark reveals this, and the step is undone.
    if (taken != 0 || MMemLineFifo_IsReaderAttached(memory)) return;
    expected = next;
    readIndex.compare_exchange_strong(expected, 0);
}

}  // namespace

int MMemLineFifo_Create(void* memory, std::size_t lineCount, std::size_t lineLength) {
    if (!memory) return 0;
    store(memory, kLineLength, lineLength, std::memory_order_relaxed);
    store(memory, kWriteIndex, 0, std::memory_order_relaxed);
    store(memory, kSlotCount, static_cast<std::uint64_t>(lineCount) + 1, std::memory_order_relaxed);
    store(memory, kReaderMark, 0, std::memory_order_relaxed);
    // Release: whoever sees the mark sees the geometry before it.
    store(memory, kWriterMark, dataAreaOf(memory), std::memory_order_release);
    store(memory, kReadIndex, 0, std::memory_order_release);
    if (!isAligned(memory)) {
        M_ERRTRACE("MMemLineFifo_Create(): Start address of data (%p) is not aligned to %Iu", shown(dataAreaOf(memory)),
                   kAlignment);
        store(memory, kWriterMark, 0, std::memory_order_release);
        return 0;
    }
    if (!isFieldAligned(memory, kWriteIndex)) {
        // Impossible with an aligned header; the text is part of what the library may report.
        M_ERRTRACE("MMemLineFifo_Create(): Address of write offset (%p) is not aligned to %Iu",
                   shown(reinterpret_cast<std::uintptr_t>(memory) + kWriteIndex), kAlignment);
        store(memory, kWriterMark, 0, std::memory_order_release);
        return 0;
    }
    return 1;
}

int MMemLineFifo_CreateBySize(void* memory, std::size_t memorySize, std::size_t lineLength) {
    if (!memory) return 0;
    if (lineLength == 0) {
        M_ERRTRACE("MMemLineFifo_CreateBySize(): line length must not be 0");
        return 0;
    }
    const std::size_t slots =
        memorySize >= sizeof(LineFifoHeader) ? (memorySize - sizeof(LineFifoHeader)) / lineLength : 0;
    if (slots > 1) return MMemLineFifo_Create(memory, slots - 1, lineLength);
    M_ERRTRACE("MMemLineFifo_CreateBySize(): memory area too small: %Iu bytes. Must be at least %Iu bytes.", memorySize,
               2 * lineLength + sizeof(LineFifoHeader));
    return 0;
}

void MMemLineFifo_Destroy(void* memory) {
    if (memory) store(memory, kWriterMark, 0, std::memory_order_release);
}

void* MMemLineFifo_GetWriteLine(void* memory) {
    if (!memory || load(memory, kWriterMark, std::memory_order_relaxed) == 0) return nullptr;
    return slotAt(memory, load(memory, kWriteIndex, std::memory_order_relaxed));  // ours: its only storer
}

int MMemLineFifo_PutLine(void* memory) {
    if (!memory) return 0;
    std::uint64_t next = load(memory, kWriteIndex, std::memory_order_relaxed) + 1;
    if (next == load(memory, kSlotCount, std::memory_order_relaxed)) next = 0;
    // Pairs with the release in ReleaseLine: once the index is seen, the reader is done with the slots before it.
    if (next == load(memory, kReadIndex, std::memory_order_acquire)) return 0;
    fullBarrier();
    store(memory, kWriteIndex, next, std::memory_order_release);
    return 1;
}

int MMemLineFifo_Link(void* memory) {
    if (!memory) return 0;
    if (!takeMark(memory, kReaderMark, dataAreaOf(memory))) {
        // kept on purpose: docs/oddities.md, exlusive-reader
        M_ERRTRACE("MMemLineFifo_Link(): Fifo not initialized or already has an exlusive reader");
        return 0;
    }
    if (!isAligned(memory)) {  // nothing was stored: there is still no reader
        M_ERRTRACE("MMemLineFifo_Link(): Start address of data (%p) is not aligned to %Iu", shown(dataAreaOf(memory)),
                   kAlignment);
        return 0;
    }
    if (!isFieldAligned(memory, kWriteIndex)) {
        // Impossible with an aligned header; the text is part of what the library may report.
        M_ERRTRACE("MMemLineFifo_Link(): Address of write offset (%p) is not aligned to %Iu",
                   shown(reinterpret_cast<std::uintptr_t>(memory) + kWriteIndex), kAlignment);
        store(memory, kReaderMark, 0, std::memory_order_release);
        return 0;
    }
    return 1;
}

void MMemLineFifo_Unlink(void* memory) {
    if (memory) store(memory, kReaderMark, 0, std::memory_order_release);
}

void* MMemLineFifo_GetReadLine(void* memory) {
    if (!memory || load(memory, kReaderMark, std::memory_order_relaxed) == 0) return nullptr;
    // Only this thread stores it, except for a writer that recreates the ring; hence the order before the mark's check
    // below.
    const auto read = load(memory, kReadIndex, std::memory_order_acquire);
    // Pairs with the release in PutLine: once the index is seen, the slot's bytes are visible.
    if (load(memory, kWriteIndex, std::memory_order_acquire) == read) return nullptr;
    // Check again, after the loads: a writer that recreated the ring since the first check has removed the mark, and
    // old lines seem to wait between its write index and our read index.
    if (load(memory, kReaderMark, std::memory_order_relaxed) == 0) return nullptr;
    return slotAt(memory, read);
}

void MMemLineFifo_ReleaseLine(void* memory, const LineFifoSlot* taken) {
    if (!memory) return;
    const auto read = taken ? taken->index : load(memory, kReadIndex, std::memory_order_relaxed);
    if (load(memory, kWriteIndex, std::memory_order_acquire) == read) return;
    const auto slotCount = taken ? taken->slotCount : load(memory, kSlotCount, std::memory_order_relaxed);
    const std::uint64_t next = read + 1 >= slotCount ? 0 : read + 1;
    fullBarrier();
    if (taken) return releaseTaken(memory, read, next);
    store(memory, kReadIndex, next, std::memory_order_release);
}

std::size_t MMemLineFifo_GetCount(const void* memory) {
    if (!memory) return 0;
    const std::uint64_t write = load(memory, kWriteIndex, std::memory_order_acquire);
    const std::uint64_t read = load(memory, kReadIndex, std::memory_order_acquire);
    const std::uint64_t wrapped = write < read ? load(memory, kSlotCount, std::memory_order_relaxed) : 0;
    return static_cast<std::size_t>(write - read + wrapped);
}

std::size_t MMemLineFifo_GetFree(const void* memory) {
    if (!memory) return 0;
    const auto slotCount = static_cast<std::size_t>(load(memory, kSlotCount, std::memory_order_relaxed));
    return slotCount - MMemLineFifo_GetCount(memory) - 1;
}

std::size_t MMemLineFifo_GetLineLength(const void* memory) {
    return memory ? static_cast<std::size_t>(load(memory, kLineLength, std::memory_order_relaxed)) : 0;
}

int MMemLineFifo_IsWriterAttached(const void* memory) {
    return memory && load(memory, kWriterMark, std::memory_order_acquire) != 0 ? 1 : 0;
}

int MMemLineFifo_IsReaderAttached(const void* memory) {
    return memory && load(memory, kReaderMark, std::memory_order_acquire) != 0 ? 1 : 0;
}
