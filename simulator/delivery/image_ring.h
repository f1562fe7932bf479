// The simulator's end of the image connection: shared memory with a line fifo of whole images, and the event that tells
// readers of new ones (object_names.h). docs/wire-format.md draws what is shared.
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

/// The writing side. One thread.
class ImageRing {
public:
    enum class OpenResult {
        opened,
        otherWriter,  // another simulator has the ring
        tooSmall,     // somebody still holds smaller memory of that name: try again later
        failed,       // no memory or no event; problem() tells why
    };

    /// @param imageBytes    Of one image.   @param lineCount  Images that the ring holds, at least 1.
    /// @param roomForBytes  The memory has room for images of that size too: a host keeps the memory that it has once
    ///                      seen until it ends, and only into that can a larger ring be laid then.
    ImageRing(std::size_t imageBytes, std::size_t lineCount, std::size_t roomForBytes = 0);

    /// Closes.
    ~ImageRing();
    ImageRing(const ImageRing&) = delete;
    ImageRing& operator=(const ImageRing&) = delete;

    /// Lays the ring anew, empty. A reader that was attached is detached and comes back at the next signal.
    OpenResult open();

    /// Detaches. Images that wait stay readable for who holds the memory.
    void close();

    /// Closes; the next open lays lines for images of that size. The ring stays this simulator's.
    void setImageBytes(std::size_t imageBytes);

    /// Lays the open ring anew in the same memory, empty, for images of that size; they are no larger than those that
    /// it was opened for. A reader that was attached is detached. Nothing while the ring is not open.
    void recreateFor(std::size_t imageBytes);

    /// What another process has stored into the ring's header where only this one stores, or where nothing like it can
    /// stand; none: nothing. Nothing of it is ever used, but readers may have met it: then recreate.
    std::optional<LineFifoDamage> damage() const { return _writer.damage(); }

    /// Recreates the open ring, empty, in the same memory. A reader that was attached is detached; the image that it
    /// may be looking at stays whole until it is back.
    void recreate() { _writer.recreate(); }

    /// Overwrites geometry and indices of the open ring with absurd numbers, until it is laid again: nothing else may
    /// be called before. The marks stay, so that an attached reader looks at it.
    void spoilHeader(std::uint64_t seed);

    /// Why the last open failed, and what to do, for people.
    const std::string& problem() const { return _problem; }

    bool isOpen() const { return _memory != nullptr; }

    /// Pixels of the slot to fill next; null while the ring is full or not open.
    std::uint8_t* slotPixels();

    /// Number of that slot, 0 … lineCount.
    std::size_t slotIndex() const { return _writer.slotIndex(); }

    /// Images that wait unread, 0 … lineCount; 0 while the ring is not open.
    std::size_t waiting() const { return _writer.waiting(); }

    /// Slot that the attached reader takes next; none while none is attached or the ring is not open.
    std::optional<std::uint64_t> readerIndex() const;

    /// Publishes the slot and wakes the reader. False when the ring is full or not open.
    bool publish(const image_road::ImageLineHeader& header);

    /// Wakes the reader without a new image, so that one which came while the ring was full finds it. Nothing before
    /// the first open that succeeded.
    void wakeReader();

    /// Bytes of memory that the ring needs, and of one line: header and pixels, up to a multiple of 8.
    std::size_t memoryBytes() const;
    static std::size_t memoryBytesFor(std::size_t imageBytes, std::size_t lineCount);
    std::size_t lineBytes() const { return _lineBytes; }

private:
    bool openEvent();
    bool openMemory(std::size_t bytes);
    void tellRefusal(const std::string& what, const char* name, DWORD error);

    std::size_t _lineBytes;
    std::size_t _lineCount;
    std::size_t _roomBytes;  // that the memory takes at least
    void* _memory = nullptr;
    MMemLineWriter _writer;                              // in that memory
    NamedClaim _writerClaim{image_road::kImagesWriter};  // while a simulator runs
    HANDLE _event = nullptr;
    std::string _problem;
};

}  // namespace simulator
