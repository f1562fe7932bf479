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
#include "object_names.h"
#include "platform.h"

namespace kest::dorven {
namespace {

const char kFile[] = "ipc/IPMessenger";

// Results of the receiver's wait.
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

/// Keeps a wait that returns at once from using up a processor. If waits keep failing, for example because the event
/// could not be created, the pause doubles each time up to the length of a wait, so the log does not fill up either.
constexpr std::chrono::milliseconds kPauseAfterError{10};
constexpr std::chrono::milliseconds kLongestPause{5000};

/// Another messenger of the same ids may take a signal; then the closer is woken again.
constexpr std::chrono::milliseconds kNotifyAgain{200};

/// 0 stands for none and 1 for nothing sent; neither is ever sent.
bool isMessageId(std::uint64_t id) { return id > kNothingSent; }

std::size_t shown(std::uint64_t id) { return static_cast<std::size_t>(id); }
int shown(std::uint32_t step) { return static_cast<int>(step); }

}  // namespace

/// After this many requests in a row without an answer, a request that has no room in the fifo recreates it.
constexpr int kUnanswered = 2;

/// If a peer reads but nothing is heard from it for this long, nothing will be: its waits take five seconds at most.
constexpr std::chrono::milliseconds kDeaf{5500};

/// If only a part of a frame has arrived after this long, the rest will not come: as long as a wait.
constexpr std::chrono::milliseconds kInPart{5000};

/// Time between two checks whether the other reader still exists. A check costs some twenty microseconds.
constexpr std::chrono::milliseconds kLook{500};

/// A side that stands by takes over the fifo after this many checks in a row without a reader. A reader that has only
/// lost its mark, because its peer has recreated the fifo, returns at the peer's next signal.
constexpr int kFreeLooks = 2;

/// The thread's own data; outlives a messenger that its own channel's execute destroys.
struct IPMessenger::Run {
    Run(std::size_t requestSize, std::size_t responseSize) : payload(requestSize), received(responseSize) {}

    std::uint64_t lastSent = kNothingSent;
    std::vector<char> payload;                   // of the step that is being sent
    std::vector<char> received;                  // payload that is being read
    int unanswered = 0;                          // requests sent since the peer was last heard
    std::optional<Clock::time_point> deafSince;  // the peer reads from here and could not be heard
    std::uint64_t leftFor = kNothingSent;        // id of the request for which this side has left and returned
    std::optional<Clock::time_point> partSince;  // part of a frame waits from here on
    std::uint64_t failedStep = 0;                // id of the step whose error was reported last
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
      _finished(std::make_shared<MProcessEvent>(image_road::finishedOf(_comm->requestId()).c_str())),
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
        // Only this thread is left: once the channel's execute returns, it uses nothing of this object any more.
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
    // The thread does not own this object: when the last owner releases it, it ends.
    _thread = startThread([this, run = _run] { this->run(*run); });
}

bool IPMessenger::send() {
    const char function[] = "kest::dorven::IPMessenger::send";
    M_TRACE(5, "%s - %s", function, requestId().c_str());
    const auto end = _now() + std::chrono::duration<double>(kSendS);
    const std::uint64_t id = setStep(kStepSend);
    _finished->Wait(kAtOnce);
    wakeThread();
    int result = _finished->Wait(kSendS);
    FrameHeader outcome = last();
    // An outcome that came too late for the previous request completes that one, not this one.
    while (result == kSignalled && outcome.id != id) {
        const std::chrono::duration<double> rest = end - _now();
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
    // The thread may have woken and ended by itself, and its signal may have just been cleared.
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
    // If a close meets the thread in the middle of a pass, it is sent like a request, so it has a payload, too.
    const auto* const request = step == kStepWait ? nullptr : static_cast<const char*>(_comm->requestData());
    {
        const std::lock_guard lock(_mutex);
        _current.step = step;
        _current.id = id;
        if (step == kStepSend) _awaited = id;
        // Copied here, because the channel's record may change while the thread still sends an abandoned request.
        if (request) std::copy_n(request, _request.size(), _request.begin());
    }
    M_TRACE(5, "%s - %s - %d %zu", "kest::dorven::IPMessenger::setStep", requestId().c_str(), shown(step), shown(id));
    return id;
}

// After old completions are cleared, because the thread may complete the new step at once.
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
            // Trace "eager asker": if a peer asks more often than every five seconds, no wait times out, and an end
            // that was closed when the peer left earlier would stay closed for ever.
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

/// The owner's next step ends the pause after a failed wait at once.
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

/// Normally one wait. A side that only answers and finds another one of its kind reading stands by instead: the event
/// releases one of the two, and it must be the one that reads.
int IPMessenger::nextStatus(Run& run) {
    if (_receiver->isTaken() && mayStandBy()) {
        standBy(run);
        if (_closing || !mayStandBy()) return kNotConnected;
        _receiver->open();
        if (_receiver->isTaken()) return kNotConnected;
    }
    const int status = _receiver->wait(kWaitS);
    // At most once before it stands by, so that the two do not pass a signal back and forth.
    if (status == kNotConnected && _receiver->isTaken() && _receiver->tookSignal() && mayStandBy()) _receiver->notify();
    return status;
}

/// A side that asks does not stand by: it has other ways to remove the mark of a dead reader.
bool IPMessenger::mayStandBy() const { return current().step != kStepSend; }

/// Does not wait for the event until the other reader has gone, or the owner wants something. Mark and content of the
/// sending fifo belong to the other one, too; leaving removes neither. The mark does not show whether the other one is
/// alive: a dead one's mark goes when the peer, which gets no answer, recreates its fifo.
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

/// At most one frame of the peer, then the owner's step. Nothing is lost: a fifo holds one frame.
void IPMessenger::handleSignal(Run& run) {
    // Before there is something to answer: another camera that closes removes the mark that both have set.
    if (std::exchange(run.stoodBy, false) || _sender->hasLostItsMark()) _sender->open();
    FrameHeader header{};
    // A damaged fifo seems to contain a frame but returns none.
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

/// Whether both header and payload have arrived: an earlier message's signal, or an own one, may come between the two.
bool IPMessenger::hasFrame(Run& run) {
    if (!_receiver->hasData()) {
        run.partSince.reset();
        return false;
    }
    return !isInPart(run, false);
}

/// At a timeout, drops a part of a frame that was seen before. If an owner or a peer signals all the time, so that no
/// wait times out, drops it after the length of a wait.
/// @return Whether only a part is there, or just was.
bool IPMessenger::isInPart(Run& run, bool timedOut) {
    if (_receiver->waiting() == 0 || !_receiver->isShortOf(frameSize())) {
        run.partSince.reset();
        return false;
    }
    if (!run.partSince) {
        run.partSince = _now();
    } else if (timedOut || _now() - *run.partSince >= kInPart) {
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

/// Stores the payload in a record of the channel once it is complete. The peer may recreate the fifo after the header;
/// the record's old content would then be taken for the payload.
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
    // Trace "late answer": its asker has sent another request since and takes it for a request of the peer. The peer
    // does the same with the answer to that, so the two would send it back and forth for ever, with no room for
    // anything else.
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
        // fifo is full of what nobody will read. Only the writer can remove both. The refused request stays refused;
        // the owner's next one finds room.
        _sender->recreate();
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
        // If the owner's thread has not yet woken for its answered request, that outcome stays: the peer has answered
        // and left.
        if (_awaited != step.id || _last.id != step.id) _last = step;
    }
    _finished->Notify();
}

/// Connects two living sides that would otherwise wait for each other for ever. Only a side that wants to ask does
/// this; a side that only answers stays as quiet as its peer left it.
void IPMessenger::seekPeer(Run& run) {
    const FrameHeader step = current();
    if (step.step != kStepSend || step.id == run.lastSent) return;
    const Clock::time_point now = _now();
    if (!_sender->isConnected()) {
        run.deafSince.reset();
        _sender->open();  // trace "both left": each side has closed its sender because the other one had
        if (!run.knocked) knock(run);
    } else if (!run.deafSince) {
        run.deafSince = now;
        run.knocked = false;
    } else if (now - *run.deafSince >= kDeaf && run.leftFor != step.id) {
        // Trace "asker killed, asker back": a reader that died has left its mark in the peer's fifo. The peer recreates
        // the fifo after it has seen this side leave and return.
        run.deafSince.reset();
        run.leftFor = step.id;
        _sender->close();
        knock(run);
        run.knocked = false;
    }
}

/// Makes the peer look at once. Only when there is something new to see: a peer that opens its ends only when a wait
/// has timed out must be left in peace for that long.
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

/// @return The owner's step; if it was not sent yet, its payload, from the same moment, is in the run.
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

/// Nothing waits for an outcome any more, so an error step may replace the last one.
void IPMessenger::forgetAwaited() {
    const std::lock_guard lock(_mutex);
    _awaited = 0;
}

void IPMessenger::setCloser(Closer closer) {
    const std::lock_guard lock(_mutex);
    _closer = closer;
    _closerChanged.notify_all();
}

/// Waits until another thread closes; a channel that closed its own messenger leaves that to its owner.
/// @return Whether close has seen the thread end; it waits for a while.
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
