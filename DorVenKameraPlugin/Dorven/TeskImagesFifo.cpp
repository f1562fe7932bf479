#include "TeskImagesFifo.h"

#include <atomic>
#include <thread>
#include <utility>

#include "errtrace.h"
#include "image_line.h"
#include "massert.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "object_names.h"
#include "platform.h"

namespace kest::dorven {

using image_road::kImagesMemory;

namespace {

const char kFile[] = "Dorven/TeskImages";

// Names in entries.
const char kOpen[] = "kest::dorven::openImageFifo";
const char kFront[] = "kest::dorven::frontLine";

std::uint64_t load(std::uint64_t& field, std::memory_order order = std::memory_order_relaxed) {
    return std::atomic_ref(field).load(order);
}

LineFifoHeader& headerOf(const ImageFifo& fifo) { return *static_cast<LineFifoHeader*>(fifo.memory); }

/// A field as %Iu takes it.
std::size_t shown(std::uint64_t field) { return static_cast<std::size_t>(field); }

/// Bytes of the memory that can be touched.
std::size_t mappedBytes(const void* memory) {
    const std::size_t size = MSharedMem_GetSize(memory);
    return size == static_cast<std::size_t>(-1) ? 0 : size;
}

/// Whether there is room for a header, before anything of it is touched.
bool holdsHeader(const void* memory) {
    const std::size_t size = mappedBytes(memory);
    if (size >= sizeof(LineFifoHeader)) return true;
    M_ERRLOG("%s() : image fifo is inconsistent: %Iu bytes are too few for its header", kOpen, size);
    return false;
}

/// A writer that lays the ring anew stores the new geometry first and takes the reader's mark away straight after. So
/// what looks wrong is looked at again, with time for a writer that is between the two: without the mark, all is well.
bool isLaidAnew(const ImageFifo& fifo) {
    constexpr int kLooks = 1000;  // some microseconds
    for (int look = 0; look < kLooks; ++look) {
        if (!MMemLineFifo_IsReaderAttached(fifo.memory)) return true;
    }
    std::this_thread::yield();
    return !MMemLineFifo_IsReaderAttached(fifo.memory);
}

/// Reads the ring's geometry once and checks it against the memory that is really there.
void takeGeometry(ImageFifo& fifo) {
    const std::size_t mapped = mappedBytes(fifo.memory);
    fifo.lineLength = load(headerOf(fifo).lineLength);
    fifo.slotCount = load(headerOf(fifo).slotCount);
    if (fifo.slotCount == 0) return;  // not laid yet
    // Divided, not multiplied: the product of two foreign numbers may wrap.
    const bool fits = fifo.lineLength <= (mapped - sizeof(LineFifoHeader)) / fifo.slotCount;
    fifo.readable = fits && fifo.lineLength >= sizeof(image_road::ImageLineHeader);
    if (fifo.readable || isLaidAnew(fifo)) return;
    if (!fits) {
        M_ERRLOG("%s() : image fifo is inconsistent: %Iu slots of %Iu bytes do not fit into %Iu bytes", kOpen,
                 shown(fifo.slotCount), shown(fifo.lineLength), mapped);
    } else {
        M_ERRLOG("%s() : image fifo is inconsistent: slots of %Iu bytes are too short for the header of an image",
                 kOpen, shown(fifo.lineLength));
    }
}

/// Whether the ring still has the geometry that was taken, and indices that are possible in it: then the line at the
/// read index lies inside the mapping. Reports once what it is not.
bool isSound(ImageFifo& fifo, std::uint64_t readIndex, std::uint64_t writeIndex) {
    const std::uint64_t lineLength = load(headerOf(fifo).lineLength);
    const std::uint64_t slotCount = load(headerOf(fifo).slotCount);
    const bool sameGeometry = lineLength == fifo.lineLength && slotCount == fifo.slotCount;
    if (sameGeometry && readIndex < slotCount && writeIndex < slotCount) return true;
    if (isLaidAnew(fifo)) return false;
    fifo.readable = false;
    if (!sameGeometry) {
        M_ERRLOG("%s() : image fifo is inconsistent: %Iu slots of %Iu bytes have become %Iu slots of %Iu bytes", kFront,
                 shown(fifo.slotCount), shown(fifo.lineLength), shown(slotCount), shown(lineLength));
    } else {
        M_ERRLOG("%s() : image fifo is inconsistent: read index %Iu and write index %Iu in %Iu slots", kFront,
                 shown(readIndex), shown(writeIndex), shown(slotCount));
    }
    return false;
}

}  // namespace

ImageFifo openImageFifo() {
    M_TRACE(4, "%s", "kest::dorven::openImageFifo");
    ImageFifo fifo;
    fifo.memory = MSharedMem_Link(kImagesMemory);
    if (!fifo) {
        M_ERRLOG("could not link shared mem for image fifo: %s", kImagesMemory);
        return {};
    }
    if (!holdsHeader(fifo.memory)) {
        MSharedMem_Unlink(fifo.memory);
        return {};
    }
    if (!MMemLineFifo_Link(fifo.memory)) {
        M_ERRLOG("could not link image line fifo: %s", kImagesMemory);
        MSharedMem_Unlink(fifo.memory);
        return {};
    }
    M_TRACE(4, "established connection to image fifo -  %s  writer: %d  reader: %d", kImagesMemory,
            MMemLineFifo_IsWriterAttached(fifo.memory), MMemLineFifo_IsReaderAttached(fifo.memory));
    takeGeometry(fifo);
    return fifo;
}

void closeImageFifo(ImageFifo& fifo) {
    if (!fifo) return;
    MMemLineFifo_Unlink(fifo.memory);
    MSharedMem_Unlink(fifo.memory);
    fifo = {};
    M_TRACE(4, "closed connection to image fifo -  %s", kImagesMemory);
}

const unsigned char* frontLine(ImageFifo& fifo) {
    M_ASSERT(fifo, "mem", "image fifo not initialized");
    // What MMemLineFifo_GetReadLine answers, but from fields that are each read once and with the geometry that was
    // checked: the simulator may store anything at any time.
    if (!fifo.readable || !MMemLineFifo_IsReaderAttached(fifo.memory)) return nullptr;
    const std::uint64_t readIndex = load(headerOf(fifo).readIndex, std::memory_order_acquire);
    // Pairs with the release in MMemLineFifo_PutLine: once the index is seen, the line's bytes are visible.
    const std::uint64_t writeIndex = load(headerOf(fifo).writeIndex, std::memory_order_acquire);
    if (readIndex == writeIndex || !isSound(fifo, readIndex, writeIndex)) return nullptr;
    // Once more, behind the loads: a writer that laid the ring anew since the first look has stored its write index
    // already, and between that and our read index old lines seem to wait.
    if (!MMemLineFifo_IsReaderAttached(fifo.memory)) return nullptr;
    fifo.front = readIndex;
    return static_cast<const unsigned char*>(fifo.memory) + sizeof(LineFifoHeader) + readIndex * fifo.lineLength;
}

void popLine(ImageFifo& fifo) {
    const auto front = std::exchange(fifo.front, std::nullopt);
    // A writer that laid the ring anew while the host looked at the line has taken the reader's mark away: the line is
    // gone with the old ring, and the new one's read index must stay as it is.
    if (!front || !MMemLineFifo_IsReaderAttached(fifo.memory)) return;
    if (load(headerOf(fifo).writeIndex) == *front) return;
    // What MMemLineFifo_ReleaseLine does, but from the slot that was handed out and the slot count that was checked,
    // and only while the ring still stands at that slot.
    std::uint64_t expected = *front;
    const std::uint64_t next = (expected + 1) % fifo.slotCount;
    fullBarrier();
    const std::atomic_ref readIndex(headerOf(fifo).readIndex);
    if (!readIndex.compare_exchange_strong(expected, next)) return;
    // A new ring stands at slot 0. If ours was that one, the step may have been one in the new ring, which would then
    // seem to be full of old lines: it is taken back where the mark tells so.
    if (*front != 0 || MMemLineFifo_IsReaderAttached(fifo.memory)) return;
    expected = next;
    readIndex.compare_exchange_strong(expected, 0);
}

}  // namespace kest::dorven
