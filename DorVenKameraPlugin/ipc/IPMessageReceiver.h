// The reading end of a message fifo between two processes. It links the memory that an IPMessageSender of the same id
// has created, and never creates it itself.
#pragma once

#include <atomic>

#include "IPMessageEndpoint.h"

namespace kest::dorven {

/// Used by one thread at a time, except notify, with which another thread wakes the waiting one. No operation throws. A
/// failed check leaves an entry in the error log, and the operation continues without doing harm.
class IPMessageReceiver : protected IPMessageEndpoint {
public:
    /// Creates the receiver and opens it once. If it finds no sender, it is returned all the same and attaches in a
    /// later wait.
    /// @param id    Names event and memory, which both ends share.
    /// @param size  Bytes of the largest message, the same on both ends.
    /// @throws std::runtime_error  when the event can be neither created nor opened.
    static std::shared_ptr<IPMessageReceiver> create(const std::string& id, std::size_t size);

    /// With another event, for tests.
    static std::shared_ptr<IPMessageReceiver> create(const std::string& id, std::size_t size,
                                                     std::shared_ptr<MEvent> event);

    // Virtual operations in the order of their slots.

    /// Detaches like close.
    virtual ~IPMessageReceiver();
    /// Links the sender's memory and attaches as the fifo's one reader; does nothing when attached. A failure leaves a
    /// trace.
    virtual void open();
    /// Detaches the reader and unlinks the memory; does nothing when unattached.
    virtual void close();
    /// Whether it is attached, no other reader has replaced its mark, and the sender is attached too.
    virtual bool isConnected();
    /// Whether bytes wait; false, after an entry in the error log, when unattached.
    virtual bool hasData();
    /// Reads up to size bytes. Fewer are no failure, and the rest of the buffer stays unchanged, so initialise it;
    /// kept on purpose: docs/oddities.md, short-read
    virtual void read(void* buffer, const std::size_t& size);
    /// Waits for the event, in seconds as in MEvent::Wait. Afterwards, while not connected, tries to connect.
    /// @return  1 signalled, -1 timed out, 0 the wait failed; 2 the sender has gone, and this end is closed; 3 not
    ///          connected. A signal that arrived with 2 or 3 is consumed.
    virtual int wait(const double& timeoutSeconds);
    /// Signals the event: releases the wait of this end, now or the next one.
    virtual void notify();
    virtual std::string eventName();
    virtual std::string memoryName();

    // ---- not virtual

    /// Whether the last open found another reader attached, and whether the last wait was signalled, whatever it
    /// returned.
    bool isTaken() const { return _taken; }
    bool tookSignal() const { return _tookSignal; }
    /// Whether the last wait failed, whatever it returned: without a connection a failure gives 3.
    bool didWaitFail() const { return _waitFailed; }
    /// Whether a fifo with a writer and another reader, alive or dead, exists now; attaches to nothing.
    bool isOccupied() const;
    /// Number of waiting bytes; 0 when unattached.
    std::size_t waiting() const { return MMemFifo_GetUsed(_mem); }
    /// Whether it is attached and fewer than size bytes wait, in a fifo whose header is not damaged.
    bool isShortOf(std::size_t size) const;
    /// Reads like read. @return Whether all bytes were read, from a fifo that nobody has recreated or taken over
    /// meanwhile. Only then is the buffer's content valid.
    bool readWhole(void* buffer, std::size_t size);
    /// Drops all waiting bytes. Does nothing when unattached.
    void drop();

protected:
    IPMessageReceiver(const std::string& id, std::size_t size, std::shared_ptr<MEvent> event);

    std::size_t _copied = 0;  // number of bytes copied by the last read

private:
    bool hasLostItsMark() const;
    int statusOf(int eventResult) const;

    void holdMark();
    void forgetMark();
    bool holdsMark() const { return _holdsMark; }

    bool _taken = false;
    bool _tookSignal = false;
    bool _waitFailed = false;
    std::atomic<bool> _holdsMark{false};  // another receiver of this process may take it over
    IPMessageReceiver* _nextHolder = nullptr;
    static IPMessageReceiver* _holders;
};

}  // namespace kest::dorven
