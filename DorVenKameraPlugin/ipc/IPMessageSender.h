// The writing end of a message fifo between two processes. With an IPMessageReceiver of the same id and size in the
// other process it forms one direction of a channel.
#pragma once

#include "FrameHeader.h"
#include "IPMessageEndpoint.h"

namespace kest::dorven {

/// Used by one thread at a time, except notify, which any thread may call. No operation throws. A failed check leaves
/// an entry in the error log, and the operation continues without doing harm.
class IPMessageSender : protected IPMessageEndpoint {
public:
    /// Creates the sender and opens it once. If opening fails, it is returned all the same, and open may be tried
    /// again.
    /// @param id    Names event and memory, which both ends share.
    /// @param size  Bytes of the largest message, and of all that can wait at once; the same on both ends.
    /// @throws std::runtime_error  when the event can be neither created nor opened.
    static std::shared_ptr<IPMessageSender> create(const std::string& id, std::size_t size);

    /// With another event, for tests.
    static std::shared_ptr<IPMessageSender> create(const std::string& id, std::size_t size,
                                                   std::shared_ptr<MEvent> event);

    // Virtual operations in the order of their slots.

    /// Detaches like close.
    virtual ~IPMessageSender();
    /// Creates the shared memory, or links existing memory, and creates an empty fifo in it. When attached, it does
    /// nothing in most cases: if somebody has cleared the writer's mark, it detaches and attaches again; if somebody
    /// has damaged the header, it recreates the fifo. A failure leaves a trace.
    virtual void open();
    /// Detaches the writer and unlinks the memory; does nothing when unattached. The receiver's next wait returns 2.
    virtual void close();
    /// Whether it is attached, and the receiver is attached too.
    virtual bool isConnected();
    /// Writes all bytes, or none after entries in the error log. Does not signal: a message may have several parts, and
    /// notify is called once after the last.
    virtual void write(const void* bytes, const std::size_t& size);
    /// Signals the event: releases the receiver's wait, now or the next one.
    virtual void notify();
    virtual std::string eventName();
    virtual std::string memoryName();

    // ---- not virtual

    /// Writes a frame: its header, then its payload, each like write. If they do not both fit, neither is written, and
    /// each leaves its entry. The payload is not written into a fifo that another sender has created since the header
    /// was written.
    void writeFrame(const FrameHeader& header, const void* payload, std::size_t payloadSize);
    /// Whether a write since the last notify was refused.
    bool wasRefused() const { return _refused; }
    /// Unlinks the memory and leaves the fifo to another sender of this id: mark and content stay. Does nothing when
    /// unattached.
    void letGo() { detach(); }
    /// Recreates the fifo, empty: waiting bytes are dropped, and the reader attaches again by itself. The writer stays
    /// attached all the time. Does nothing when unattached.
    void recreate();
    /// Whether it is attached and another sender of this id has replaced the mark with its own.
    bool hasLostItsMark() const { return _mem && !MMemFifo_IsWriterAttached(_mem); }
    /// False when somebody has damaged the header of the attached fifo: nothing can pass any more.
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
    bool _withheld = false;  // a frame without room for all of it is being written
};

}  // namespace kest::dorven
