// A request/response link with another process: two message fifos, one for each direction, driven by one thread. A
// channel (IPMessenger::Comm) defines the content of the messages. Each side has a messenger, and their channels mirror
// each other.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "FrameHeader.h"
#include "IPMessageReceiver.h"
#include "IPMessageSender.h"
#include "ThreadStarter.h"
#include "mprocessevent.h"

namespace kest::dorven {

/// One owner's thread sends and closes, one send at a time; the messenger's own thread does the rest. The link connects
/// by itself: the peer may start later, go and come back, and is found again within about ten seconds.
class IPMessenger {
public:
    /// A channel: which fifos, payload sizes and buffers it uses, and how it answers a request.
    struct Comm {
        // Virtual operations in the order of their slots.

        virtual ~Comm() = default;
        /// Called once, before the messenger's thread starts. Keep a weak reference only.
        virtual void setMessenger(const std::shared_ptr<IPMessenger>& messenger) = 0;
        /// Outgoing request: send reads it on its caller's thread.
        virtual void* requestData() = 0;
        /// Bytes of a payload on the sending fifo, for requests and answers.
        virtual std::size_t requestSize() = 0;
        /// Id of the sending fifo.
        virtual std::string requestId() = 0;
        /// Answer to an own request: the messenger's thread writes it.
        virtual void* responseData() = 0;
        /// Bytes of a payload on the listening fifo, for requests and answers.
        virtual std::size_t responseSize() = 0;
        /// Id of the listening fifo.
        virtual std::string responseId() = 0;
        /// The peer's request: the messenger's thread writes it.
        virtual void* incomingData() = 0;
        /// Answers the request in incomingData, on the messenger's thread. Returns requestSize bytes that stay valid
        /// until the next call.
        virtual const void* execute() = 0;
    };

    /// Creates both ends and the thread, which serves the peer from now on. If an event or a memory is refused, the
    /// link cannot ask anybody until it can be opened.
    /// @throws std::system_error   when the system has no thread left.
    static std::shared_ptr<IPMessenger> create(const std::shared_ptr<Comm>& comm,
                                               const ThreadStarter& startThread = {});

    IPMessenger(const IPMessenger&) = delete;
    IPMessenger& operator=(const IPMessenger&) = delete;

    // Virtual operations in the order of their slots.

    /// Closes; afterwards no object of the link is left in this process.
    virtual ~IPMessenger();

    /// Sends the request in the channel's requestData and waits for the answer, at most about 2 seconds.
    /// @return True with the answer in responseData. False when the link is down or the peer does not answer in time; a
    ///         later answer is still stored in responseData.
    virtual bool send();

    // ---- not virtual

    /// Ends the thread and detaches both ends; a second call does nothing. If the channel's execute calls it, it only
    /// asks the thread to end.
    void close();

protected:
    explicit IPMessenger(std::shared_ptr<Comm> comm);

    void start(const ThreadStarter& startThread);
    std::uint64_t setStep(std::uint32_t step);
    void wakeThread();
    bool establishedConnection(int status);
    FrameHeader last() const;

    std::shared_ptr<Comm> _comm;
    std::shared_ptr<IPMessageSender> _sender;      // used by the thread
    std::shared_ptr<IPMessageReceiver> _receiver;  // used by the thread, except for notify

private:
    FrameHeader _current;  // the step that the owner requested last
    FrameHeader _last;     // the outcome of the last completed step

protected:
    std::shared_ptr<MEvent> _finished;  // a step of the owner is completed, or the thread has ended

private:
    std::shared_ptr<std::thread> _thread;  // the owner's; null: none, or closed

    struct Run;
    /// Who closes, as far as the thread must know.
    enum class Closer { none, waits, woke };

    std::string requestId() const { return _comm->requestId(); }
    FrameHeader current() const;
    FrameHeader takeStep(Run& run) const;
    void setLast(const FrameHeader& header);
    void forgetAwaited();
    void setCloser(Closer closer);
    bool waitForCloser();

    // On the messenger's thread.
    void run(Run& run);
    int nextStatus(Run& run);
    bool mayStandBy() const;
    void standBy(Run& run);
    void openEnds();
    void handleSignal(Run& run);
    bool hasFrame(Run& run);
    bool isInPart(Run& run, bool timedOut);
    void dropPart(Run& run);
    std::size_t frameSize() const { return sizeof(FrameHeader) + _comm->responseSize(); }
    bool readPayload(void* record, Run& run);
    void processReply(const FrameHeader& header, Run& run);
    void processExec(const FrameHeader& header, Run& run);
    void processSend(const FrameHeader& step, Run& run);
    void processWait(const FrameHeader& step);
    void processError(Run& run);
    void pauseAfter(int status, Run& run);
    void seekPeer(Run& run);
    void knock(Run& run);
    void processClose();

    mutable std::mutex _mutex;   // guards _current, _last and the three below; never held in calls of a channel or log
    std::vector<char> _request;  // payload of the last send or close
    std::uint64_t _awaited = 0;  // id of the request that a send waits for; 0: none
    Closer _closer = Closer::none;
    std::condition_variable _closerChanged;
    std::condition_variable _stepChanged;

    std::atomic<bool> _closing{false};  // step 2 was set; no later step revokes it
    std::atomic<bool> _ended{false};    // the thread has closed both ends
    std::atomic<std::thread::id> _runThread{};
    std::shared_ptr<Run> _run;  // shared with the thread

protected:
    using Clock = std::chrono::steady_clock;
    std::function<Clock::time_point()> _now = &Clock::now;  // read by the thread; set before it starts
};

/// A number for a message, at least 2, that no other message of this process has except by chance. Any thread.
std::uint64_t nextId();

/// The low 32 bits of the monotonic clock in nanoseconds, as the seed of this process's numbers; traces it.
std::uint32_t calcSeed();

}  // namespace kest::dorven
