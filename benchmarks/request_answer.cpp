// A request and its answer between two processes on one processor, 40 bytes in each direction. The ends of our link (a
// message written, signalled, awaited, read) are compared with a bare pair of rings with futex words and with a pair of
// Unix packet sockets. Then the whole messenger: its owner passes each request to the messenger's thread and gets the
// answer from there, so both peers pass it to a thread in the same way.
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "DorVenImagesComm.h"
#include "IPMessageReceiver.h"
#include "IPMessageSender.h"
#include "IPMessenger.h"
#include "bare_ring.h"
#include "bench_support.h"

namespace {

using kest::dorven::DorVenImagesComm;
using kest::dorven::ImagesMessage;
using kest::dorven::IPMessageReceiver;
using kest::dorven::IPMessageSender;
using kest::dorven::IPMessenger;

constexpr int kRounds = 10'000;
constexpr int kTurns = 9;
constexpr std::size_t kHeaderBytes = 16;
constexpr std::size_t kPayloadBytes = 24;
constexpr std::size_t kMessageBytes = kHeaderBytes + kPayloadBytes;

using Message = std::array<unsigned char, kMessageBytes>;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

/// One process's end of a path that carries messages both ways.
struct End {
    virtual ~End() = default;
    virtual void send(const Message& message) = 0;
    virtual void receive(Message& message) = 0;
};

class LinkEnd : public End {
public:
    LinkEnd(const std::string& sendId, const std::string& receiveId)
        : _sender(IPMessageSender::create(sendId, kMessageBytes)),
          _receiver(IPMessageReceiver::create(receiveId, kMessageBytes)) {}
    void send(const Message& message) override {
        _sender->write(message.data(), kHeaderBytes);
        _sender->write(message.data() + kHeaderBytes, kPayloadBytes);
        _sender->notify();
    }
    void receive(Message& message) override {
        while (_receiver->wait(5.0) != 1 || !_receiver->hasData()) {
        }
        _receiver->read(message.data(), kHeaderBytes);
        _receiver->read(message.data() + kHeaderBytes, kPayloadBytes);
    }

private:
    std::shared_ptr<IPMessageSender> _sender;
    std::shared_ptr<IPMessageReceiver> _receiver;
};

class RingEnd : public End {
public:
    RingEnd(const std::string& sendName, const std::string& receiveName, bool create)
        : _out("/" + sendName, 2, kMessageBytes, create), _in("/" + receiveName, 2, kMessageBytes, create) {}
    void send(const Message& message) override {
        std::memcpy(_out.writeSlot(), message.data(), kMessageBytes);
        _out.put();
        _out.signal();
    }
    void receive(Message& message) override {
        const unsigned char* slot = nullptr;
        while (!(slot = _in.readSlot())) _in.wait();
        std::memcpy(message.data(), slot, kMessageBytes);
        _in.release();
    }

private:
    bench::BareRing _out, _in;
};

class SocketEnd : public End {
public:
    explicit SocketEnd(int descriptor) : _descriptor(descriptor) {}
    ~SocketEnd() override { ::close(_descriptor); }
    void send(const Message& message) override {
        if (::send(_descriptor, message.data(), kMessageBytes, 0) != static_cast<ssize_t>(kMessageBytes)) fail("send");
    }
    void receive(Message& message) override {
        if (::recv(_descriptor, message.data(), kMessageBytes, 0) != static_cast<ssize_t>(kMessageBytes)) fail("recv");
    }

private:
    int _descriptor;
};

sockaddr_un addressOf(const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path + 1, name.c_str(), sizeof address.sun_path - 2);  // an abstract name
    return address;
}

int connectTo(const std::string& name) {
    const int descriptor = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(name);
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail("connect");
    return descriptor;
}

/// Answers that many messages by returning them, and leaves at one more: until then the last answer must stay readable.
int answerAll(End& end) {
    Message message{};
    for (int round = 0; round < kRounds; ++round) {
        end.receive(message);
        end.send(message);
    }
    end.receive(message);
    return 0;
}

// ---- the messenger, with the camera's end in the other process

class AnsweringChannel : public DorVenImagesComm {
public:
    std::string requestId() override { return DorVenImagesComm::responseId(); }
    std::string responseId() override { return DorVenImagesComm::requestId(); }
    ImagesMessage handle(const ImagesMessage& request) override { return request; }
};

int answerAsMessenger(const std::string& name) {
    const auto channel = std::make_shared<AnsweringChannel>();
    const auto messenger = IPMessenger::create(channel);
    bench::SharedPage page("/" + name, false);
    bench::futexWait(page.words()[0], page.words()[1], 60'000);
    return 0;
}

/// Passes requests of its owner to a separate thread and returns the answers, like the messenger.
class Handed {
public:
    explicit Handed(End& end) : _end(end), _thread([this] { run(); }) {}
    ~Handed() {
        _stopped = true;
        bench::futexSet(_words[0], _words[1]);
        _thread.join();
    }
    void ask(Message& message) {
        _message = message;
        bench::futexSet(_words[0], _words[1]);
        bench::futexWait(_words[2], _words[3], 5'000);
        message = _message;
    }

private:
    void run() {
        for (;;) {
            bench::futexWait(_words[0], _words[1], 0);
            if (_stopped) return;
            _end.send(_message);
            _end.receive(_message);
            bench::futexSet(_words[2], _words[3]);
        }
    }

    End& _end;
    Message _message{};
    std::array<std::atomic<std::uint32_t>, 4> _words{};
    std::atomic<bool> _stopped{false};
    std::thread _thread;
};

/// Median in microseconds of all rounds except the first, which waits for the other process.
template <typename Ask>
double medianOf(Ask&& ask) {
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
        const long long begin = bench::now();
        ask(round);
        if (round > 0) times.push_back(static_cast<double>(bench::now() - begin) * 1e-3);
    }
    return bench::median(times);
}

Message numbered(int round) {
    Message message{};
    std::memcpy(message.data(), &round, sizeof round);
    return message;
}

double askOver(End& end) {
    return medianOf([&](int round) {
        const Message request = numbered(round);
        Message answer{};
        end.send(request);
        end.receive(answer);
        if (answer != request) fail("a wrong answer");
    });
}

double askHanded(End& end) {
    Handed handed(end);
    return medianOf([&](int round) {
        const Message request = numbered(round);
        Message answer = request;
        handed.ask(answer);
        if (answer != request) fail("a wrong answer");
    });
}

using Measure = double (*)(End&);

double overLink(const std::string& name, Measure measure) {
    LinkEnd end(name + "_there", name + "_back");
    const int child = bench::startChild({"link", name});
    const double median = measure(end);
    end.send({});
    bench::joinChild(child);
    return median;
}

double overRing(const std::string& name, Measure measure) {
    RingEnd end(name + "_there", name + "_back", true);
    const int child = bench::startChild({"ring", name});
    const double median = measure(end);
    end.send({});
    bench::joinChild(child);
    return median;
}

double overSocket(const std::string& name, Measure measure) {
    const int listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(name);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 1) != 0)
        fail("listen");
    const int child = bench::startChild({"socket", name});
    SocketEnd end(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    ::close(listener);
    const double median = measure(end);
    end.send({});
    bench::joinChild(child);
    return median;
}

double overMessenger(const std::string& name) {
    bench::SharedPage page("/" + name, true);
    const auto channel = std::make_shared<DorVenImagesComm>();
    const auto messenger = IPMessenger::create(channel);
    const int child = bench::startChild({"messenger", name});
    while (channel->ask({1, 0, 0, 0}).command != 1) ::usleep(10'000);
    const double median = medianOf([&](int round) {
        const auto number = static_cast<std::uint64_t>(round);
        if (channel->ask({1, 0, number, 0}).first != number) fail("a wrong answer");
    });
    bench::futexSet(page.words()[0], page.words()[1]);
    bench::joinChild(child);
    return median;
}

int answer(const std::string& kind, const std::string& name) {
    if (kind == "messenger") return answerAsMessenger(name);
    std::unique_ptr<End> end;
    if (kind == "link") end = std::make_unique<LinkEnd>(name + "_back", name + "_there");
    if (kind == "ring") end = std::make_unique<RingEnd>(name + "_back", name + "_there", false);
    if (kind == "socket") end = std::make_unique<SocketEnd>(connectTo(name));
    return end ? answerAll(*end) : 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3) return answer(argv[1], argv[2]);
    bench::placeOn(0);
    int turn = 0;
    const auto name = [&turn] { return "bench_request_" + std::to_string(getpid()) + "_" + std::to_string(turn++); };
    std::vector<double> link, ring, socket, messenger, handedRing, handedSocket;
    for (int i = 0; i < kTurns; ++i) {
        link.push_back(overLink(name(), askOver));
        ring.push_back(overRing(name(), askOver));
        socket.push_back(overSocket(name(), askOver));
        messenger.push_back(overMessenger(name()));
        handedRing.push_back(overRing(name(), askHanded));
        handedSocket.push_back(overSocket(name(), askHanded));
    }
    const auto p50 = [](std::vector<double>& values) { return bench::median(values); };
    const bool reached =
        bench::report("Request and answer, two processes on one processor, p50, median of turns",
                      {{"ends, beside bare rings with futex words", "us", p50(link), p50(ring), 1.10},
                       {"ends, beside Unix packet sockets", "us", p50(link), p50(socket), 0.65},
                       {"messenger, beside bare rings, handed over", "us", p50(messenger), p50(handedRing), 1.10},
                       {"messenger, beside sockets, handed over", "us", p50(messenger), p50(handedSocket), 0.65}});
    return reached ? 0 : 1;
}
