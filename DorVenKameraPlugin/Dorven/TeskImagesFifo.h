// The image source's end of the ring of whole images that the simulator keeps in shared memory. The simulator creates
// memory and ring; this side only attaches to them. docs/wire-format.md draws a line.
#pragma once

#include "mmemlinereader.h"

namespace kest::dorven {

/// An attached ring, or none.
struct ImageFifo {
    MMemLineReader ring;         // not attached while it has no memory
    bool damageTold = false;     // reported in the error log
    bool shortLineTold = false;  // a line shorter than the image was already traced

    explicit operator bool() const { return ring.memory() != nullptr; }
};

/// Links the memory of the ring (object_names.h) and attaches to it as the reader. Returns an unattached fifo, after
/// one entry in the error log, when there is no memory, it is too small for a header, or the ring has a reader.
ImageFifo openImageFifo();

/// Detaches from an open ring and unlinks its memory. Does nothing for an unattached fifo.
void closeImageFifo(ImageFifo& fifo);

/// The oldest waiting line, as returned by MMemLineReader::peek. A damaged ring is reported once in the error log.
const unsigned char* frontLine(ImageFifo& fifo);

/// Returns the front line's slot to the simulator, like MMemLineReader::release.
void popLine(ImageFifo& fifo);

}  // namespace kest::dorven
