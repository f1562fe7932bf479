// The writing end of a message fifo between two processes. Together with an IPMessageReceiver of the same id and size
// in the other process it makes one direction of a channel.
#pragma once

#include "FrameHeader.h"
#include "IPMessageEndpoint.h"

namespace kest::dorven {

/// Used by one thread at a time, but for notify, which any thread may call. No operation throws. A check that fails
/// leaves an entry in the error log and the operation goes on, doing no harm.
class IPMessageSender : protected IPMessageEndpoint {
public:
    /// Makes the sender and opens it once; one that could not open is returned too, and open may be tried again.
    /// @param id    Names event and memory, which both ends share.
    /// @param size  Bytes: the largest message, and all that can wait at once. Both ends give the same.
    /// @throws std::runtime_error  when the event can be neither created nor opened.
    static std::shared_ptr<IPMessageSender> create(const std::string& id, std::size_t size);

    /// With another event, for tests.
    static std::shared_ptr<IPMessageSender> create(const std::string& id, std::size_t size,
                                                   std::shared_ptr<MEvent> event);

    // Virtual operations in the order of their slots.

    /// Detaches like close.
    virtual ~IPMessageSender();
    /// Creates the shared memory, or links what exists, and lays an empty fifo in it. Nothing when attached, unless
    /// somebody has cleared the writer's mark: then it detaches and attaches anew; or damaged the header: then it lays
    /// the fifo anew. A failure leaves a trace.
    virtual void open();
    /// Detaches the writer and gives the memory back; nothing when unattached. The receiver's next wait answers 2.
    virtual void close();
    /// Attached, and the receiver is attached too.
    virtual bool isConnected();
    /// Writes the bytes as one unit, or nothing after entries in the error log. Does not signal: a message may have
    /// several parts, and notify is called once after the last.
    virtual void write(const void* bytes, const std::size_t& size);
    /// Signals the event: releases the receiver's wait, now or the next one.
    virtual void notify();
    virtual std::string eventName();
    virtual std::string memoryName();

    // ---- not virtual

    /// Writes a frame: its header and its payload, one after the other as write does. When they do not both fit,
    /// neither is written, and each leaves its entry; nor does the payload go into a fifo that another sender has laid
    /// since the header was written.
    void writeFrame(const FrameHeader& header, const void* payload, std::size_t payloadSize);
    /// Whether one of the writes since the last notify was refused.
    bool wasRefused() const { return _refused; }
    /// Gives the memory back and leaves the fifo to another sender of this id: mark and content stay. Nothing when
    /// unattached.
    void letGo() { detach(); }
    /// Lays an empty fifo where there is one: what waits is dropped, and the reader attaches anew by itself. The writer
    /// is there all the time. Nothing when unattached.
    void layAnew();
    /// Whether it is attached and another sender of this id has taken the mark away with its own.
    bool hasLostItsMark() const { return _mem && !MMemFifo_IsWriterAttached(_mem); }
    /// False when somebody has damaged the header of the fifo that is attached: nothing gets through any more.
    bool isSound() const;

protected:
    IPMessageSender(const std::string& id, std::size_t size, std::shared_ptr<MEvent> event);

private:
    bool hasRoomFor(std::size_t size) const;
    struct Place {
        std::size_t offset;
        bool hadReader;
    };
    Place place() const;
    bool isBehind(const Place& begin, std::size_t size) const;

    bool _refused = false;
    bool _withheld = false;  // what is being written has no room as a whole
};

}  // namespace kest::dorven
