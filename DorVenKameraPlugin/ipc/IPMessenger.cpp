#include "IPMessenger.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <optional>
#include <random>
#include <utility>

#include "EchoGuard.h"
#include "errtrace.h"
#include "massert.h"
#include "platform.h"

namespace kest::dorven {
namespace {

const char kFile[] = "ipc/IPMessenger";

// What the receiver's wait answers.
constexpr int kTimedOut = -1;
constexpr int kWaitFailed = 0;
constexpr int kSignalled = 1;
constexpr int kPeerLeft = 2;
constexpr int kNotConnected = 3;

constexpr double kWaitS = 5.0;
constexpr double kSendS = 2.0;
constexpr double kAtOnce = 0.0;
constexpr double kCloseS = -1.0;  // kept on purpose: docs/oddities.md, negative-wait

constexpr std::uint64_t kNothingSent = 1;

/// Keeps a wait that answers at once from taking a whole processor; one that fails, as on an event that is none, pauses
/// twice as long each time, up to as long as a wait, and so does not fill the log either.
constexpr std::chrono::milliseconds kPauseAfterError{10};
constexpr std::chrono::milliseconds kLongestPause{5000};

/// Another messenger of the same ids may take a signal; then the closer is woken again.
constexpr std::chrono::milliseconds kNotifyAgain{200};

/// 0 stands for none and 1 for nothing sent; neither goes out.
bool isMessageId(std::uint64_t id) { return id > kNothingSent; }

std::size_t shown(std::uint64_t id) { return static_cast<std::size_t>(id); }
int shown(std::uint32_t step) { return static_cast<int>(step); }

}  // namespace

/// Requests in a row that found no answer, after which one that the fifo has no room for lays it anew.
constexpr int kUnanswered = 2;

/// A peer that reads but is not heard for this long will not be heard any more: its waits take five seconds at most.
constexpr std::chrono::milliseconds kDeaf{5500};

/// A frame that is there in part and not whole after this long will not be whole any more: as long as a wait.
constexpr std::chrono::milliseconds kInPart{5000};

/// Between two looks whether the other reader is still there. Costs some twenty microseconds.
constexpr std::chrono::milliseconds kLook{500};

/// Looks in a row that find the fifo without a reader, before a side that stands by takes it: one that has only lost
/// its mark, as its peer has laid the fifo anew, comes back at the peer's next signal.
constexpr int kFreeLooks = 2;

using Clock = std::chrono::steady_clock;

/// What the thread keeps for itself; it outlives a messenger that is destroyed by its own channel's execute.
struct IPMessenger::Run {
    Run(std::size_t requestSize, std::size_t responseSize) : payload(requestSize), received(responseSize) {}

    std::uint64_t lastSent = kNothingSent;
    std::vector<char> payload;                   // of the step that is being sent
    std::vector<char> received;                  // payload that is being read
    int unanswered = 0;                          // requests sent since the peer was last heard
    std::optional<Clock::time_point> deafSince;  // the peer reads from here and could not be heard
    std::uint64_t leftFor = kNothingSent;        // id of the request for which this side has left and come back
    std::optional<Clock::time_point> partSince;  // part of a frame waits from here on
    std::uint64_t failedStep = 0;                // id of the step that the last error was told for
    std::chrono::milliseconds pause = kPauseAfterError;
    bool knocked = false;  // for the sender that was opened last
    EchoGuard echoes;
    bool stoodBy = false;  // and has left the sending fifo to the other one
    bool left = false;     // the messenger is gone
};

std::shared_ptr<IPMessenger> IPMessenger::create(const std::shared_ptr<Comm>& comm, const ThreadStarter& startThread) {
    std::shared_ptr<IPMessenger> ipm(new IPMessenger(comm));
    comm->setMessenger(ipm);
    ipm->start(startThread ? startThread : startStandardThread);
    M_ASSERT(ipm->_thread, "ipm->_thread", "failed to create and start thread: %s,%s", comm->requestId().c_str(),
             comm->responseId().c_str());
    return ipm;
}

IPMessenger::IPMessenger(std::shared_ptr<Comm> comm)
    : _comm(std::move(comm)),
      _sender(IPMessageSender::create(_comm->requestId(), _comm->requestSize() + sizeof(FrameHeader))),
      _receiver(IPMessageReceiver::create(_comm->responseId(), _comm->responseSize() + sizeof(FrameHeader))),
      _current{},
      _last{},
      _finished(std::make_shared<MProcessEvent>((_comm->requestId() + "_finished").c_str())),
      _request(_comm->requestSize()),
      _run(std::make_shared<Run>(_comm->requestSize(), _comm->responseSize())) {
    // kept on purpose: docs/oddities.md, bad-ids-go-on
    M_ASSERT(_comm->requestId() != "" && _comm->responseId() != "",
             "_comm->requestId() != \"\" && _comm->responseId() != \"\"", "empty id provided: '%s', '%s'",
             _comm->requestId().c_str(), _comm->responseId().c_str());
    M_ASSERT(_comm->requestId() != _comm->responseId(), "_comm->requestId() != _comm->responseId()",
             "same ids for sending fifo and listening fifo provided: '%s' == '%s'", _comm->requestId().c_str(),
             _comm->responseId().c_str());
    setStep(kStepWait);
}

IPMessenger::~IPMessenger() {
    M_TRACE(5, "%s - closing", "kest::dorven::IPMessenger::~IPMessenger");
    close();
    if (_thread) {
        // What is left is this thread: once the channel's execute returns, it touches nothing of this object any more.
        _run->left = true;
        _thread->detach();
    }
    _thread.reset();
    _finished.reset();
    _receiver.reset();
    _sender.reset();
    _comm.reset();
}

void IPMessenger::start(const ThreadStarter& startThread) {
    // The thread holds no share of this object: the last share of the owners ends it.
    _thread = startThread([this, run = _run] { this->run(*run); });
}

bool IPMessenger::send() {
    const char function[] = "kest::dorven::IPMessenger::send";
    M_TRACE(5, "%s - %s", function, requestId().c_str());
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(kSendS);
    const std::uint64_t id = setStep(kStepSend);
    _finished->Wait(kAtOnce);
    wakeThread();
    int result = _finished->Wait(kSendS);
    FrameHeader outcome = last();
    // What came too late for the request before completes that one, not this one.
    while (result == kSignalled && outcome.id != id) {
        const std::chrono::duration<double> rest = end - std::chrono::steady_clock::now();
        result = rest.count() > 0.0 ? _finished->Wait(rest.count()) : kTimedOut;
        outcome = last();
    }
    forgetAwaited();
    M_TRACE(5, "%s - %s - Wait returned: %d", function, requestId().c_str(), result);
    return result == kSignalled && outcome.step == kStepSend;
}

void IPMessenger::close() {
    const char function[] = "kest::dorven::IPMessenger::close";
    M_TRACE(5, "%s - %s", function, requestId().c_str());
    _closing = true;
    setStep(kStepClose);
    _finished->Wait(kAtOnce);
    wakeThread();
    if (std::this_thread::get_id() == _runThread || !_thread) return;
    setCloser(Closer::waits);
    // The thread may have woken by itself and ended, and its signal been cleared just now.
    if (!_ended) _finished->Wait(kCloseS);
    setCloser(Closer::woke);
    M_TRACE(4, "%s - %s - waiting for thread to close", function, requestId().c_str());
    _thread->join();
    M_TRACE(4, "%s - %s - thread closed", function, requestId().c_str());
    _thread.reset();
}

/// @return The step's new id.
std::uint64_t IPMessenger::setStep(std::uint32_t step) {
    const std::uint64_t id = nextId();
    // A close that meets the thread in the middle of a pass is sent like a request, so it has a payload, too.
    const auto* const request = step == kStepWait ? nullptr : static_cast<const char*>(_comm->requestData());
    {
        const std::lock_guard lock(_mutex);
        _current.step = step;
        _current.id = id;
        if (step == kStepSend) _awaited = id;
        // Copied here: the channel's record may change while the thread still sends a request that came to nothing.
        if (request) std::copy_n(request, _request.size(), _request.begin());
    }
    M_TRACE(5, "%s - %s - %d %zu", "kest::dorven::IPMessenger::setStep", requestId().c_str(), shown(step), shown(id));
    return id;
}

// Behind the clearing of old completions: the thread may complete the new step at once.
void IPMessenger::wakeThread() {
    _receiver->notify();
    _stepChanged.notify_all();
}

bool IPMessenger::establishedConnection(int status) {
    M_TRACE(5, "%s - %p - %s - %d", "kest::dorven::IPMessenger::establishedConnection", static_cast<void*>(this),
            requestId().c_str(), status);
    switch (status) {
        case kTimedOut:
            openEnds();
            return false;
        case kWaitFailed:
            _receiver->close();
            _sender->close();
            return false;
        case kSignalled:
            return true;
        case kPeerLeft:
            _sender->close();
            return false;
        case kNotConnected:
            return false;
        default:
            M_ASSERT(false, "false", "unknown wait status: %d", status);
            return false;
    }
}

void IPMessenger::run(Run& run) {
    _runThread = std::this_thread::get_id();
    int status = nextStatus(run);
    while (!_closing) {
        if (establishedConnection(status)) {
            handleSignal(run);
            if (run.left) return;
            // Trace "eager asker": beside a peer that asks more often than every five seconds no wait times out, and an
            // end that an earlier departure of the peer has closed would stay closed for ever.
            openEnds();
            run.deafSince.reset();
        } else if (status == kTimedOut) {
            isInPart(run, true);
            run.deafSince.reset();
        } else {
            run.partSince.reset();
            processError(run);
            if (status == kNotConnected)
                seekPeer(run);
            else
                run.knocked = false;
        }
        pauseAfter(status, run);
        status = nextStatus(run);
    }
    processClose();
    while (!waitForCloser()) _finished->Notify();
}

/// That after a failed wait is ended at once by the owner's next step.
void IPMessenger::pauseAfter(int status, Run& run) {
    const bool failed = status == kWaitFailed || (status == kNotConnected && _receiver->didWaitFail());
    if (!failed) {
        run.pause = kPauseAfterError;
        if (status == kNotConnected) std::this_thread::sleep_for(kPauseAfterError);
        return;
    }
    std::unique_lock lock(_mutex);
    _stepChanged.wait_for(lock, run.pause, [&] { return _closing || _current.id != run.failedStep; });
    run.pause = std::min(2 * run.pause, kLongestPause);
}

/// One wait, but for a side that only answers and finds another one of its kind reading: the event releases one of the
/// two, and it has to be the one that reads.
int IPMessenger::nextStatus(Run& run) {
    if (_receiver->isTaken() && mayStandBy()) {
        standBy(run);
        if (_closing || !mayStandBy()) return kNotConnected;
        _receiver->open();
        if (_receiver->isTaken()) return kNotConnected;
    }
    const int status = _receiver->wait(kWaitS);
    // Once at most before it stands by, so the two do not pass a signal to and fro.
    if (status == kNotConnected && _receiver->isTaken() && _receiver->tookSignal() && mayStandBy()) _receiver->notify();
    return status;
}

/// A side that asks does not: it has its own ways to get rid of the mark of a reader that died.
bool IPMessenger::mayStandBy() const { return current().step != kStepSend; }

/// Stays off the event until the other reader has gone, or the owner wants something. Mark and content of the sending
/// fifo are the other one's, too; leaving takes neither away. Whether the other one lives cannot be seen from its mark:
/// that of a dead one goes when the peer, which is not answered, lays its fifo anew.
void IPMessenger::standBy(Run& run) {
    _sender->letGo();
    run.stoodBy = true;
    for (int free = 0; free < kFreeLooks; free = _receiver->isOccupied() ? 0 : free + 1) {
        std::unique_lock lock(_mutex);
        if (_stepChanged.wait_for(lock, kLook, [this] { return _current.step != kStepWait; })) return;
    }
}

void IPMessenger::openEnds() {
    if (!_sender->isConnected() || !_sender->isSound()) _sender->open();
    if (!_receiver->isConnected()) _receiver->open();
}

/// One frame of the peer's at most, then the owner's step. Nothing is lost by it: a fifo holds one frame.
void IPMessenger::handleSignal(Run& run) {
    // Before there is something to answer; another camera that closes takes the mark away that both have set.
    if (std::exchange(run.stoodBy, false) || _sender->hasLostItsMark()) _sender->open();
    FrameHeader header{};
    // A damaged fifo seems to hold a frame and gives none.
    if (hasFrame(run) && _receiver->readWhole(&header, sizeof header)) {
        run.unanswered = 0;
        if (header.id == run.lastSent)
            processReply(header, run);
        else
            processExec(header, run);
        if (run.left) return;
    }
    const FrameHeader step = takeStep(run);
    if (step.id == run.lastSent) return;
    run.lastSent = step.id;
    if (step.step == kStepWait)
        processWait(step);
    else
        processSend(step, run);
}

/// Whether header and payload are there, both: the signal of a message before, or one's own, may come between the two.
bool IPMessenger::hasFrame(Run& run) {
    if (!_receiver->hasData()) {
        run.partSince.reset();
        return false;
    }
    return !isInPart(run, false);
}

/// A part of a frame that was seen before is dropped at the next timeout; beside an owner or a peer that signals all
/// the time, and so lets no wait time out, after as long as a wait.
/// @return Whether there is, or just was, no more than a part.
bool IPMessenger::isInPart(Run& run, bool timedOut) {
    if (_receiver->waiting() == 0 || !_receiver->isShortOf(frameSize())) {
        run.partSince.reset();
        return false;
    }
    if (!run.partSince) {
        run.partSince = Clock::now();
    } else if (timedOut || Clock::now() - *run.partSince >= kInPart) {
        dropPart(run);
    }
    return true;
}

void IPMessenger::dropPart(Run& run) {
    M_ERRLOG("%s() : message fifo %s holds %zu of the %zu bytes of a frame and no more come: they are dropped",
             "kest::dorven::IPMessenger::dropPart", _receiver->memoryName().c_str(), _receiver->waiting(), frameSize());
    _receiver->drop();
    run.partSince.reset();
}

/// Stores the payload in a record of the channel's once it is there as a whole: the peer may lay the fifo anew behind
/// the header, and what the record holds from before would count.
bool IPMessenger::readPayload(void* record, Run& run) {
    if (!_receiver->readWhole(run.received.data(), run.received.size())) return false;
    std::copy(run.received.begin(), run.received.end(), static_cast<char*>(record));
    return true;
}

void IPMessenger::processReply(const FrameHeader& header, Run& run) {
    M_TRACE(5, "%s - %p - %s - %d - %zu", "kest::dorven::IPMessenger::processReply", static_cast<void*>(this),
            requestId().c_str(), shown(header.step), shown(header.id));
    if (!readPayload(_comm->responseData(), run)) return;
    setLast(header);
    _finished->Notify();
}

void IPMessenger::processExec(const FrameHeader& header, Run& run) {
    M_TRACE(5, "%s - %p - %s - %d - %zu", "kest::dorven::IPMessenger::processExec", static_cast<void*>(this),
            requestId().c_str(), shown(header.step), shown(header.id));
    const auto comm = _comm;  // lives on if its execute destroys this object
    void* const request = comm->incomingData();
    if (!readPayload(request, run)) return;
    if (!isMessageId(header.id)) {
        M_ERRLOG("%s() : message fifo %s had a frame with the id %zu, which no message has: it is dropped",
                 "kest::dorven::IPMessenger::processExec", _receiver->memoryName().c_str(), shown(header.id));
        return;
    }
    // Trace "late answer": its asker has sent another request since and takes it for a request of the peer's; so does
    // the peer with the answer to that, and the two would pass it to and fro for ever, with no room for anything else.
    if (run.echoes.isEcho(header.id, request, comm->responseSize())) return;
    const void* const reply = comm->execute();
    if (run.left) return;
    run.echoes.answered(header.id, reply, comm->requestSize());
    // kept on purpose: docs/oddities.md, every-frame-answered
    _sender->writeFrame(header, reply, comm->requestSize());
    _sender->notify();
}

void IPMessenger::processSend(const FrameHeader& step, Run& run) {
    M_TRACE(5, "%s - %p - %s - %d - %zu", "kest::dorven::IPMessenger::processSend", static_cast<void*>(this),
            requestId().c_str(), shown(step.step), shown(step.id));
    run.echoes.asked(step.id);
    _sender->writeFrame(step, run.payload.data(), run.payload.size());
    if (++run.unanswered > kUnanswered && _sender->wasRefused()) {
        // Trace "answering side killed and back": the mark of the dead reader keeps the new one from attaching, and the
        // fifo is full of what nobody will read. Only the writer can take both away. The refused request stays refused;
        // the owner's next one finds room.
        _sender->layAnew();
        run.unanswered = 0;
    }
    _sender->notify();
}

void IPMessenger::processWait(const FrameHeader& step) {
    M_TRACE(5, "%s - %p - %s - %d - %zu", "kest::dorven::IPMessenger::processWait", static_cast<void*>(this),
            requestId().c_str(), shown(step.step), shown(step.id));
    setLast(step);
}

/// The step stays pending; kept on purpose: docs/oddities.md, failed-step-pending
void IPMessenger::processError(Run& run) {
    FrameHeader step = current();
    run.failedStep = step.id;
    M_TRACE(5, "%s - %p - %s - %d - %zu", "kest::dorven::IPMessenger::processError", static_cast<void*>(this),
            requestId().c_str(), shown(step.step), shown(step.id));
    step.step = kStepError;
    {
        const std::lock_guard lock(_mutex);
        // The answer to a request of which the owner's thread has not woken yet stays: its peer has answered and left.
        if (_awaited != step.id || _last.id != step.id) _last = step;
    }
    _finished->Notify();
}

/// Brings two living sides together that would wait for each other for ever. Only a side that has something to ask does
/// this; one that only answers stays as quiet as its peer left it.
void IPMessenger::seekPeer(Run& run) {
    const FrameHeader step = current();
    if (step.step != kStepSend || step.id == run.lastSent) return;
    const Clock::time_point now = Clock::now();
    if (!_sender->isConnected()) {
        run.deafSince.reset();
        _sender->open();  // trace "both left": each side has closed its sender because the other one had
        if (!run.knocked) knock(run);
    } else if (!run.deafSince) {
        run.deafSince = now;
        run.knocked = false;
    } else if (now - *run.deafSince >= kDeaf && run.leftFor != step.id) {
        // Trace "asker killed, asker back": a reader that died has left its mark in the peer's fifo. The peer lays a
        // new one after it has seen this side leave and come back.
        run.deafSince.reset();
        run.leftFor = step.id;
        _sender->close();
        knock(run);
        run.knocked = false;
    }
}

/// Makes the peer look at once. Only when there is something new to see: a peer that opens its ends when a wait has
/// timed out, and only then, has to be left in peace for as long as that takes.
void IPMessenger::knock(Run& run) {
    run.knocked = true;
    _sender->notify();
}

void IPMessenger::processClose() {
    M_TRACE(5, "%s - %s", "kest::dorven::IPMessenger::processClose", requestId().c_str());
    _receiver->close();
    _sender->close();
    _ended = true;
    _finished->Notify();
}

FrameHeader IPMessenger::current() const {
    const std::lock_guard lock(_mutex);
    return _current;
}

/// @return The owner's step; when it is one that was not sent yet, its payload is in the run, of the same moment.
FrameHeader IPMessenger::takeStep(Run& run) const {
    const std::lock_guard lock(_mutex);
    if (_current.id != run.lastSent) std::copy(_request.begin(), _request.end(), run.payload.begin());
    return _current;
}

FrameHeader IPMessenger::last() const {
    const std::lock_guard lock(_mutex);
    return _last;
}

void IPMessenger::setLast(const FrameHeader& header) {
    const std::lock_guard lock(_mutex);
    _last = header;
}

/// Nothing waits for an outcome any more: an error step may take the place of the last one.
void IPMessenger::forgetAwaited() {
    const std::lock_guard lock(_mutex);
    _awaited = 0;
}

void IPMessenger::setCloser(Closer closer) {
    const std::lock_guard lock(_mutex);
    _closer = closer;
    _closerChanged.notify_all();
}

/// Waits until somebody closes from another thread; a channel that closed its own messenger leaves that to its owner.
/// @return Whether close has seen the end of the thread, which it gets a while for.
bool IPMessenger::waitForCloser() {
    std::unique_lock lock(_mutex);
    _closerChanged.wait(lock, [this] { return _closer != Closer::none; });
    return _closerChanged.wait_for(lock, kNotifyAgain, [this] { return _closer == Closer::woke; });
}

std::uint64_t nextId() {
    static std::mutex mutex;
    static std::mt19937 generator(calcSeed());
    static std::uniform_int_distribution<std::uint64_t> ids(2, std::numeric_limits<std::uint64_t>::max());
    const std::lock_guard lock(mutex);
    return ids(generator);
}

std::uint32_t calcSeed() {
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    LARGE_INTEGER count;
    LARGE_INTEGER perSecond;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&perSecond);
    const auto nanoseconds = count.QuadPart / perSecond.QuadPart * kNanoseconds +
                             count.QuadPart % perSecond.QuadPart * kNanoseconds / perSecond.QuadPart;
    const auto seed = static_cast<std::uint32_t>(static_cast<std::uint64_t>(nanoseconds) & 0xFFFFFFFFu);
    M_TRACE(4, "%s: seed: %u", "kest::dorven::calcSeed", seed);
    return seed;
}

}  // namespace kest::dorven
