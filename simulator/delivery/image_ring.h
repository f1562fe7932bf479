// The simulator's end of the image connection: shared memory with a line fifo of whole images, and the event that
// notifies readers (object_names.h). docs/wire-format.md draws what is shared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "image_line.h"
#include "mmemlinewriter.h"
#include "named_claim.h"
#include "object_names.h"
#include "platform.h"

namespace simulator {

/// The writing side. Used by one thread.
class ImageRing {
public:
    enum class OpenResult {
        opened,
        otherWriter,  // another simulator has the ring
        tooSmall,     // somebody still holds a smaller memory of that name: try again later
        failed,       // no memory or no event; problem() says why
    };

    /// @param imageBytes    Of one image.   @param lineCount  Images that the ring holds, at least 1.
    /// @param roomForBytes  The memory also has room for images of that size. A host keeps a memory that it has once
    ///                      seen until the host ends, and a larger ring can then be created only inside it.
    ImageRing(std::size_t imageBytes, std::size_t lineCount, std::size_t roomForBytes = 0);

    /// Closes.
    ~ImageRing();
    ImageRing(const ImageRing&) = delete;
    ImageRing& operator=(const ImageRing&) = delete;

    /// Recreates the ring, empty. An attached reader is detached and attaches again at the next signal.
    OpenResult open();

    /// Detaches. Waiting images stay readable for whoever holds the memory.
    void close();

    /// Closes; the next open creates lines for images of that size. The ring stays reserved for this simulator.
    void setImageBytes(std::size_t imageBytes);

    /// Recreates the open ring in the same memory, empty, for images of that size, which must not be larger than when
    /// it was opened. An attached reader is detached. Does nothing while the ring is not open.
    void recreateFor(std::size_t imageBytes);

    /// A value in the ring's header that another process has stored in a field of this one, or that is impossible;
    /// none: there is none. The simulator never uses such a value, but readers may have read it: call recreate.
    std::optional<LineFifoDamage> damage() const { return _writer.damage(); }

    /// Recreates the open ring, empty, in the same memory. An attached reader is detached; the image that it may still
    /// be reading stays intact until it attaches again.
    void recreate() { _writer.recreate(); }

    /// Overwrites geometry and indices of the open ring with absurd numbers, until it is recreated; nothing else may be
    /// called before that. The marks stay, so an attached reader reads them.
    void spoilHeader(std::uint64_t seed);

    /// Why the last open failed, and what to do, for people.
    const std::string& problem() const { return _problem; }

    bool isOpen() const { return _memory != nullptr; }

    /// Pixels of the slot to fill next; null while the ring is full or not open.
    std::uint8_t* slotPixels();

    /// Index of that slot, 0 … lineCount.
    std::size_t slotIndex() const { return _writer.slotIndex(); }

    /// Number of unread images, 0 … lineCount; 0 while the ring is not open.
    std::size_t waiting() const { return _writer.waiting(); }

    /// Slot that the attached reader takes next; none while no reader is attached or the ring is not open.
    std::optional<std::uint64_t> readerIndex() const;

    /// Publishes the slot and wakes the reader. False when the ring is full or not open.
    bool publish(const image_road::ImageLineHeader& header);

    /// Wakes the reader without a new image, so that a reader that came while the ring was full finds it. Does nothing
    /// before the first successful open.
    void wakeReader();

    /// Bytes of memory that the ring needs, and of one line: header and pixels, rounded up to a multiple of 8.
    std::size_t memoryBytes() const;
    static std::size_t memoryBytesFor(std::size_t imageBytes, std::size_t lineCount);
    std::size_t lineBytes() const { return _lineBytes; }

private:
    bool openEvent();
    bool openMemory(std::size_t bytes);
    void tellRefusal(const std::string& what, const char* name, DWORD error);

    std::size_t _lineBytes;
    std::size_t _lineCount;
    std::size_t _roomBytes;  // least size of the memory
    void* _memory = nullptr;
    MMemLineWriter _writer;                              // in that memory
    NamedClaim _writerClaim{image_road::kImagesWriter};  // held while a simulator runs
    HANDLE _event = nullptr;
    std::string _problem;
};

}  // namespace simulator
