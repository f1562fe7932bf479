// The image source's end of the ring of whole images that the simulator keeps in shared memory. The simulator makes
// memory and ring; this side only attaches to them. docs/wire-format.md draws a line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace kest::dorven {

/// An attached ring, or none. The geometry is read once, at attach, and checked against the mapped size; everything
/// that the other process stores later is checked against it, so that no line outside the mapping is ever handed out.
struct ImageFifo {
    void* memory = nullptr;              // null: none
    std::uint64_t lineLength = 0;        // bytes per line
    std::uint64_t slotCount = 0;         // slots in the ring; 0 while no writer has laid it
    std::optional<std::uint64_t> front;  // slot of the line that frontLine handed out and popLine has not given back
    bool readable = true;        // false once it proved inconsistent: no line is taken from it until it is opened anew
    bool shortLineTold = false;  // a line shorter than the image was traced already

    explicit operator bool() const { return memory != nullptr; }
};

/// Links the memory "DorVenImages" and attaches to its ring as the reader. None, after one entry in the error log, when
/// there is no memory, it is too small for a header, or the ring has a reader.
ImageFifo openImageFifo();

/// Detaches from an open ring and gives the memory back; the fifo is none then. Nothing for none.
void closeImageFifo(ImageFifo& fifo);

/// The oldest waiting line, valid until popLine; null when none waits, when the ring has no reader, or once it is
/// inconsistent, which is said once in the error log.
const unsigned char* frontLine(ImageFifo& fifo);

/// Gives the front line's slot back to the simulator; nothing when no line was taken since, or when the ring is no more
/// the one that the line was taken from: laid anew, emptied, or at another read index.
void popLine(ImageFifo& fifo);

}  // namespace kest::dorven
