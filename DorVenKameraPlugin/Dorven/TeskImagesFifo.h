// The image source's end of the ring of whole images that the simulator keeps in shared memory. The simulator makes
// memory and ring; this side only attaches to them. docs/wire-format.md draws a line.
#pragma once

#include "mmemlinereader.h"

namespace kest::dorven {

/// An attached ring, or none.
struct ImageFifo {
    MMemLineReader ring;         // without a memory: none
    bool damageTold = false;     // in the error log
    bool shortLineTold = false;  // a line shorter than the image was traced already

    explicit operator bool() const { return ring.memory() != nullptr; }
};

/// Links the memory of the ring (object_names.h) and attaches to it as the reader. None, after one entry in the error
/// log, when there is no memory, it is too small for a header, or the ring has a reader.
ImageFifo openImageFifo();

/// Detaches from an open ring and gives the memory back; the fifo is none then. Nothing for none.
void closeImageFifo(ImageFifo& fifo);

/// The oldest waiting line, as MMemLineReader::peek gives it. That the ring is damaged is said once in the error log.
const unsigned char* frontLine(ImageFifo& fifo);

/// Gives the front line's slot back to the simulator, as MMemLineReader::release does.
void popLine(ImageFifo& fifo);

}  // namespace kest::dorven
