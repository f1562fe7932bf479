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

std::uint64_t loadOnce(std::uint64_t& field) { return std::atomic_ref(field).load(std::memory_order_relaxed); }

/// Reads the ring's geometry once and checks it against the memory that is really there.
void takeGeometry(ImageFifo& fifo) {
    auto& header = *static_cast<LineFifoHeader*>(fifo.memory);
    fifo.lineLength = loadOnce(header.lineLength);
    fifo.slotCount = loadOnce(header.slotCount);
    const std::size_t mapped = MSharedMem_GetSize(fifo.memory);
    const bool known = mapped >= sizeof(LineFifoHeader) && mapped != static_cast<std::size_t>(-1);
    const std::uint64_t slotBytes = known ? mapped - sizeof(LineFifoHeader) : 0;
    // Divided, not multiplied: the product of two foreign numbers may wrap.
    if (known && (fifo.slotCount == 0 || fifo.lineLength <= slotBytes / fifo.slotCount)) return;
    fifo.readable = false;
    M_ERRLOG("image fifo is inconsistent: %Iu lines of %Iu bytes do not fit into %Iu bytes",
             static_cast<std::size_t>(fifo.slotCount), static_cast<std::size_t>(fifo.lineLength), mapped);
}

/// Whether a line that the ring gave lies on a slot of the geometry that was taken, and the indices are possible.
bool isSound(const ImageFifo& fifo, const void* line) {
    const std::uint64_t offset = reinterpret_cast<std::uintptr_t>(line) -
                                 reinterpret_cast<std::uintptr_t>(fifo.memory) -
                                 sizeof(LineFifoHeader);  // wraps for a line before slot 0, and is too large then
    if (fifo.lineLength < sizeof(ImageLineHeader) || offset % fifo.lineLength != 0) return false;
    if (offset / fifo.lineLength >= fifo.slotCount) return false;
    // A write index beyond the ring, or a geometry that changed after the attach and with it where indices wrap, would
    // never let the read index meet it: a loop without end.
    auto& header = *static_cast<LineFifoHeader*>(fifo.memory);
    return loadOnce(header.writeIndex) < fifo.slotCount && loadOnce(header.slotCount) == fifo.slotCount &&
           loadOnce(header.lineLength) == fifo.lineLength;
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
    if (!fifo.readable) return nullptr;
    const void* line = MMemLineFifo_GetReadLine(fifo.memory);
    if (!line) return nullptr;
    if (isSound(fifo, line)) return static_cast<const unsigned char*>(line);
    fifo.readable = false;
    M_ERRLOG("image fifo is inconsistent: a line does not lie in the %Iu lines of %Iu bytes",
             static_cast<std::size_t>(fifo.slotCount), static_cast<std::size_t>(fifo.lineLength));
    return nullptr;
}

void popLine(const ImageFifo& fifo) {
    // A writer that laid the ring anew while the host looked at the line has taken the reader's mark away: the line is
    // gone with the old ring, and the new one's read index must stay as it is.
    if (MMemLineFifo_IsReaderAttached(fifo.memory)) MMemLineFifo_ReleaseLine(fifo.memory);
}

}  // namespace kest::dorven
