// A channel for messengers under test, with a peer that is no messenger: it writes and reads frames by hand.
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

/// The other side of a messenger, by hand.
class RawPeer {
public:
    /// @param ids  The peer's own: mirrored those of the messenger.
    explicit RawPeer(const Ids& ids, std::size_t sendBytes = 8, std::size_t receiveBytes = 8)
        : sender(IPMessageSender::create(ids.asking, sendBytes + 16)),
          receiver(IPMessageReceiver::create(ids.answering, receiveBytes + 16)),
          _receiveBytes(receiveBytes) {}

    void send(const FrameHeader& header, const Payload& payload) const {
        sender->write(&header, sizeof header);
        sender->write(payload.data(), payload.size());
        sender->notify();
    }

    /// The messenger's next frame, or none in time.
    std::optional<Frame> receive(std::chrono::milliseconds limit = std::chrono::seconds(20)) const {
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

    /// Sends a request and takes its answer, so that both directions of the link stand.
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

/// A point that one thread waits at until another opens it.
class Gate {
public:
    void open() {
        const std::lock_guard lock(_mutex);
        _open = true;
        _changed.notify_all();
    }
    /// Says that somebody stands here, and waits.
    void pass() {
        std::unique_lock lock(_mutex);
        _reached = true;
        _changed.notify_all();
        _changed.wait_for(lock, std::chrono::seconds(20), [this] { return _open; });
    }
    /// @return Whether somebody stands at the gate, or has passed it.
    bool awaitArrival(std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        std::unique_lock lock(_mutex);
        return _changed.wait_for(lock, limit, [this] { return _reached; });
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _open = false;
    bool _reached = false;
};

/// Waits for a condition that another thread brings about.
template <typename Condition>
bool becomesTrue(Condition&& condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Seconds that a call takes.
template <typename Call>
double secondsOf(Call&& call) {
    const auto begin = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace test
