// A channel for messengers under test, and a peer that is not a messenger: it writes and reads frames directly.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "IPMessenger.h"
#include "child_process.h"
#include "stopwatch.h"

namespace test {

using kest::dorven::FrameHeader;
using kest::dorven::IPMessageReceiver;
using kest::dorven::IPMessageSender;
using kest::dorven::IPMessenger;
using Payload = std::vector<std::uint8_t>;

/// Two ids, one for each direction of a link.
struct Ids {
    std::string asking = uniqueName("asking");
    std::string answering = uniqueName("answering");
    Ids mirrored() const { return {answering, asking}; }
};

/// Answers each request with its bytes plus one, unless told otherwise.
class TestChannel : public IPMessenger::Comm {
public:
    explicit TestChannel(const Ids& ids, std::size_t requestBytes = 8, std::size_t responseBytes = 8)
        : request(requestBytes), response(responseBytes), incoming(responseBytes), answer(requestBytes), _ids(ids) {}

    void setMessenger(const std::shared_ptr<IPMessenger>& messenger) override {
        ++introductions;
        if (onSetMessenger) onSetMessenger();
        _messenger = messenger;
    }
    void* requestData() override {
        ++requestReads;
        return request.data();
    }
    std::size_t requestSize() override { return request.size(); }
    std::string requestId() override { return _ids.asking; }
    void* responseData() override {
        if (onResponse) onResponse();
        return response.data();
    }
    std::size_t responseSize() override { return response.size(); }
    std::string responseId() override { return _ids.answering; }
    void* incomingData() override {
        if (onIncoming) onIncoming();
        return incoming.data();
    }
    const void* execute() override {
        ++executions;
        if (onExecute) onExecute();
        for (std::size_t i = 0; i < answer.size(); ++i)
            answer[i] = static_cast<std::uint8_t>(i < incoming.size() ? incoming[i] + 1 : 0);
        return answer.data();
    }

    std::weak_ptr<IPMessenger> messenger() const { return _messenger; }

    Payload request, response, incoming, answer;
    std::atomic<int> executions{0};
    std::atomic<int> requestReads{0};
    int introductions = 0;
    std::function<void()> onExecute, onResponse;  // on the messenger's thread
    std::function<void()> onIncoming;             // on the messenger's thread, between a frame's header and its payload
    std::function<void()> onSetMessenger;

private:
    Ids _ids;
    std::weak_ptr<IPMessenger> _messenger;
};

struct Frame {
    FrameHeader header;
    Payload payload;
};

/// The other side of a messenger, controlled by the test.
class RawPeer {
public:
    /// @param ids  The peer's own ids: those of the messenger, swapped.
    explicit RawPeer(const Ids& ids, std::size_t sendBytes = 8, std::size_t receiveBytes = 8)
        : sender(IPMessageSender::create(ids.asking, sendBytes + 16)),
          receiver(IPMessageReceiver::create(ids.answering, receiveBytes + 16)),
          _receiveBytes(receiveBytes) {}

    void send(const FrameHeader& header, const Payload& payload) const {
        sender->write(&header, sizeof header);
        sender->write(payload.data(), payload.size());
        sender->notify();
    }

    /// The messenger's next frame; none when it does not come in time.
    std::optional<Frame> receive(std::chrono::milliseconds limit = std::chrono::seconds(60)) const {
        const auto end = std::chrono::steady_clock::now() + limit;
        Frame frame{{}, Payload(_receiveBytes)};
        do {
            if (receiver->wait(0.02) == 2 || !receiver->isConnected() || !receiver->hasData()) continue;
            receiver->read(&frame.header, sizeof frame.header);
            receiver->read(frame.payload.data(), frame.payload.size());
            return frame;
        } while (std::chrono::steady_clock::now() < end);
        return std::nullopt;
    }

    /// Sends a request and takes its answer, so that both directions of the link work.
    bool meet() const {
        send({1, 0, 0xABCDEF}, Payload(8, 0));
        const auto answer = receive();
        return answer && answer->header.id == 0xABCDEF;
    }

    std::shared_ptr<IPMessageSender> sender;
    std::shared_ptr<IPMessageReceiver> receiver;

private:
    std::size_t _receiveBytes;
};

/// An event on which a wait with a limit lasts as long as a busy machine needs for an answer.
class PatientEvent : public MProcessEvent {
public:
    using MProcessEvent::MProcessEvent;
    int Wait(double seconds) override { return MProcessEvent::Wait(seconds > 0.0 && patient ? kPatienceS : seconds); }
    std::atomic<bool> patient{true};

private:
    static constexpr double kPatienceS = 60.0;
};

/// A messenger whose send gives up only when its request was really lost: for tests of what is answered, not of when.
class PatientMessenger : public IPMessenger {
public:
    static std::shared_ptr<PatientMessenger> create(const std::shared_ptr<Comm>& comm) {
        std::shared_ptr<PatientMessenger> messenger(new PatientMessenger(comm));
        comm->setMessenger(messenger);
        messenger->start(kest::dorven::startStandardThread);
        return messenger;
    }
    /// Whether it waits that long, or as the product does: for a test that asks until it gets an answer.
    void setPatient(bool patient) { _patience->patient = patient; }

private:
    explicit PatientMessenger(const std::shared_ptr<Comm>& comm) : IPMessenger(comm) { _finished = _patience; }

    std::shared_ptr<PatientEvent> _patience =
        std::make_shared<PatientEvent>((_comm->requestId() + "_finished").c_str());
};

/// A point where one thread waits until another opens it.
class Gate {
public:
    void open() {
        const std::lock_guard lock(_mutex);
        _open = true;
        _changed.notify_all();
    }
    /// Reports an arrival, and waits.
    void pass() {
        std::unique_lock lock(_mutex);
        _reached = true;
        _changed.notify_all();
        _changed.wait_for(lock, std::chrono::seconds(60), [this] { return _open; });
    }
    /// @return Whether somebody is at the gate, or has passed it.
    bool awaitArrival(std::chrono::milliseconds limit = std::chrono::seconds(60)) {
        std::unique_lock lock(_mutex);
        return _changed.wait_for(lock, limit, [this] { return _reached; });
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _open = false;
    bool _reached = false;
};

}  // namespace test
