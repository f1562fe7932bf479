#include "TeskImagesFifo.h"

#include <utility>

#include "errtrace.h"
#include "image_line.h"
#include "massert.h"
#include "msharedmem.h"
#include "object_names.h"

namespace kest::dorven {

using image_road::kImagesMemory;

namespace {

const char kFile[] = "Dorven/TeskImages";

// Names in entries.
const char kOpen[] = "kest::dorven::openImageFifo";
const char kFront[] = "kest::dorven::frontLine";

/// A field as a value for %Iu.
std::size_t shown(std::uint64_t field) { return static_cast<std::size_t>(field); }

/// Bytes of the memory that may be accessed.
std::size_t mappedBytes(const void* memory) {
    const std::size_t size = MSharedMem_GetSize(memory);
    return size == static_cast<std::size_t>(-1) ? 0 : size;
}

void tellDamage(ImageFifo& fifo, const char* function) {
    const MMemLineReader& ring = fifo.ring;
    if (ring.damage() == MMemLineReader::Damage::none || std::exchange(fifo.damageTold, true)) return;
    const LineFifoHeader& found = ring.damagedHeader();
    switch (ring.damage()) {
        case MMemLineReader::Damage::none:
            return;
        case MMemLineReader::Damage::slotsDoNotFit:
            M_ERRLOG("%s() : image fifo is inconsistent: %Iu slots of %Iu bytes do not fit into %Iu bytes", function,
                     shown(found.slotCount), shown(found.lineLength), mappedBytes(ring.memory()));
            return;
        case MMemLineReader::Damage::shortLines:
            M_ERRLOG("%s() : image fifo is inconsistent: slots of %Iu bytes are too short for the header of an image",
                     function, shown(found.lineLength));
            return;
        case MMemLineReader::Damage::otherGeometry:
            M_ERRLOG("%s() : image fifo is inconsistent: %Iu slots of %Iu bytes have become %Iu slots of %Iu bytes",
                     function, shown(ring.slotCount()), shown(ring.lineLength()), shown(found.slotCount),
                     shown(found.lineLength));
            return;
        case MMemLineReader::Damage::impossibleIndices:
            M_ERRLOG("%s() : image fifo is inconsistent: read index %Iu and write index %Iu in %Iu slots", function,
                     shown(found.readIndex), shown(found.writeIndex), shown(found.slotCount));
            return;
    }
}

}  // namespace

ImageFifo openImageFifo() {
    M_TRACE(4, "%s", "kest::dorven::openImageFifo");
    void* const memory = MSharedMem_Link(kImagesMemory);
    if (!memory) {
        M_ERRLOG("could not link shared mem for image fifo: %s", kImagesMemory);
        return {};
    }
    ImageFifo fifo;
    const std::size_t mapped = mappedBytes(memory);
    const auto link = fifo.ring.link(memory, mapped, sizeof(image_road::ImageLineHeader));
    if (link != MMemLineReader::Link::linked) {
        if (link == MMemLineReader::Link::noHeader)
            M_ERRLOG("%s() : image fifo is inconsistent: %Iu bytes are too few for its header", kOpen, mapped);
        else
            M_ERRLOG("could not link image line fifo: %s", kImagesMemory);
        MSharedMem_Unlink(memory);
        return {};
    }
    M_TRACE(4, "established connection to image fifo -  %s  writer: %d  reader: %d", kImagesMemory,
            MMemLineFifo_IsWriterAttached(memory), MMemLineFifo_IsReaderAttached(memory));
    tellDamage(fifo, kOpen);
    return fifo;
}

void closeImageFifo(ImageFifo& fifo) {
    if (!fifo) return;
    MSharedMem_Unlink(fifo.ring.unlink());
    fifo = {};
    M_TRACE(4, "closed connection to image fifo -  %s", kImagesMemory);
}

const unsigned char* frontLine(ImageFifo& fifo) {
    M_ASSERT(fifo, "mem", "image fifo not initialized");
    const unsigned char* const line = fifo.ring.peek();
    if (!line) tellDamage(fifo, kFront);
    return line;
}

void popLine(ImageFifo& fifo) { fifo.ring.release(); }

}  // namespace kest::dorven
