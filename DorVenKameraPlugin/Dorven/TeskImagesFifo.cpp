#include "TeskImagesFifo.h"

#include <atomic>

#include "errtrace.h"
#include "massert.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"

namespace kest::dorven {
namespace {

const char kFile[] = "Dorven/TeskImages";

const char kMemoryName[] = "DorVenImages";

std::uint64_t load(std::uint64_t& field, std::memory_order order = std::memory_order_relaxed) {
    return std::atomic_ref(field).load(order);
}

LineFifoHeader& headerOf(const ImageFifo& fifo) { return *static_cast<LineFifoHeader*>(fifo.memory); }

/// A field as %Iu takes it.
std::size_t shown(std::uint64_t field) { return static_cast<std::size_t>(field); }

/// Reads the ring's geometry once and checks it against the memory that is really there.
void takeGeometry(ImageFifo& fifo) {
    const std::size_t size = MSharedMem_GetSize(fifo.memory);
    const std::size_t mapped = size == static_cast<std::size_t>(-1) ? 0 : size;
    if (mapped < sizeof(LineFifoHeader)) {
        fifo.readable = false;
        M_ERRLOG("image fifo is inconsistent: %Iu bytes are too few for its header", mapped);
        return;
    }
    fifo.lineLength = load(headerOf(fifo).lineLength);
    fifo.slotCount = load(headerOf(fifo).slotCount);
    if (fifo.slotCount == 0) return;  // not laid yet
    // Divided, not multiplied: the product of two foreign numbers may wrap.
    if (fifo.lineLength > (mapped - sizeof(LineFifoHeader)) / fifo.slotCount) {
        fifo.readable = false;
        M_ERRLOG("image fifo is inconsistent: %Iu slots of %Iu bytes do not fit into %Iu bytes", shown(fifo.slotCount),
                 shown(fifo.lineLength), mapped);
    } else if (fifo.lineLength < sizeof(ImageLineHeader)) {
        fifo.readable = false;
        M_ERRLOG("image fifo is inconsistent: slots of %Iu bytes are too short for the header of an image",
                 shown(fifo.lineLength));
    }
}

/// Whether the ring still has the geometry that was taken, and indices that are possible in it: then the line at the
/// read index lies inside the mapping, and the reading comes to an end. Reports once what it is not.
bool isSound(ImageFifo& fifo, std::uint64_t readIndex, std::uint64_t writeIndex) {
    const std::uint64_t lineLength = load(headerOf(fifo).lineLength);
    const std::uint64_t slotCount = load(headerOf(fifo).slotCount);
    if (lineLength != fifo.lineLength || slotCount != fifo.slotCount) {
        fifo.readable = false;
        M_ERRLOG("image fifo is inconsistent: %Iu slots of %Iu bytes have become %Iu slots of %Iu bytes",
                 shown(fifo.slotCount), shown(fifo.lineLength), shown(slotCount), shown(lineLength));
    } else if (readIndex >= slotCount || writeIndex >= slotCount) {
        fifo.readable = false;
        M_ERRLOG("image fifo is inconsistent: read index %Iu and write index %Iu in %Iu slots", shown(readIndex),
                 shown(writeIndex), shown(slotCount));
    }
    return fifo.readable;
}

}  // namespace

ImageFifo openImageFifo() {
    M_TRACE(4, "%s", "kest::dorven::openImageFifo");
    ImageFifo fifo;
    fifo.memory = MSharedMem_Link(kMemoryName);
    if (!fifo) {
        M_ERRLOG("could not link shared mem for image fifo: %s", kMemoryName);
        return {};
    }
    if (!MMemLineFifo_Link(fifo.memory)) {
        M_ERRLOG("could not link image line fifo: %s", kMemoryName);
        MSharedMem_Unlink(fifo.memory);
        return {};
    }
    M_TRACE(4, "established connection to image fifo -  %s  writer: %d  reader: %d", kMemoryName,
            MMemLineFifo_IsWriterAttached(fifo.memory), MMemLineFifo_IsReaderAttached(fifo.memory));
    takeGeometry(fifo);
    return fifo;
}

void closeImageFifo(ImageFifo& fifo) {
    if (!fifo) return;
    MMemLineFifo_Unlink(fifo.memory);
    MSharedMem_Unlink(fifo.memory);
    fifo = {};
    M_TRACE(4, "closed connection to image fifo -  %s", kMemoryName);
}

const unsigned char* frontLine(ImageFifo& fifo) {
    M_ASSERT(fifo, "mem", "image fifo not initialized");
    // What MMemLineFifo_GetReadLine answers, but from fields that are each read once and with the geometry that was
    // checked: the simulator may store anything at any time.
    if (!fifo.readable || !MMemLineFifo_IsReaderAttached(fifo.memory)) return nullptr;
    const std::uint64_t readIndex = load(headerOf(fifo).readIndex);
    // Pairs with the release in MMemLineFifo_PutLine: once the index is seen, the line's bytes are visible.
    const std::uint64_t writeIndex = load(headerOf(fifo).writeIndex, std::memory_order_acquire);
    if (readIndex == writeIndex || !isSound(fifo, readIndex, writeIndex)) return nullptr;
    return static_cast<const unsigned char*>(fifo.memory) + sizeof(LineFifoHeader) + readIndex * fifo.lineLength;
}

void popLine(const ImageFifo& fifo) {
    // A writer that laid the ring anew while the host looked at the line has taken the reader's mark away: the line is
    // gone with the old ring, and the new one's read index must stay as it is.
    if (MMemLineFifo_IsReaderAttached(fifo.memory)) MMemLineFifo_ReleaseLine(fifo.memory);
}

}  // namespace kest::dorven
