// Messages of 40 bytes through the byte fifo: between two threads, compared with boost's ring for one producer and one
// consumer; and put and taken on one thread, compared with a bare ring of that type.
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include <boost/lockfree/spsc_queue.hpp>

#include "bench_support.h"
#include "mmemfifo.h"

namespace {

constexpr std::size_t kMessageBytes = 40;
constexpr std::size_t kCapacity = 1024;  // messages
constexpr int kTurns = 9;

using Message = std::array<unsigned char, kMessageBytes>;

class ByteFifo {
public:
    ByteFifo() {
        MMemFifo_Create(_memory.get(), kCapacity * kMessageBytes);
        MMemFifo_Link(_memory.get());
    }
    bool put(const Message& message) {
        return MMemFifo_Write(_memory.get(), message.data(), message.size(), kBytes) != 0;
    }
    bool get(Message& message) {
        return MMemFifo_Read(_memory.get(), message.data(), message.size(), kBytes) == message.size();
    }

private:
    static constexpr std::size_t kBytes = kCapacity * kMessageBytes + kMMemFifoOverhead;
    struct alignas(64) Line {
        unsigned char bytes[64];
    };
    std::unique_ptr<Line[]> _memory{new Line[kBytes / sizeof(Line) + 1]};
};

class BoostQueue {
public:
    bool put(const Message& message) { return _queue.push(message); }
    bool get(Message& message) { return _queue.pop(message); }

private:
    boost::lockfree::spsc_queue<Message, boost::lockfree::capacity<kCapacity>> _queue;
};

// Slots of one type and two indices; each store of an index is a full barrier, like the fifo's.
class BareTypedRing {
public:
    bool put(const Message& message) {
        const std::uint64_t write = _write.load(std::memory_order_relaxed);
        if (write - _read.load(std::memory_order_acquire) == kCapacity) return false;
        _slots[write % kCapacity] = message;
        _write.store(write + 1, std::memory_order_seq_cst);
        return true;
    }
    bool get(Message& message) {
        const std::uint64_t read = _read.load(std::memory_order_relaxed);
        if (_write.load(std::memory_order_acquire) == read) return false;
        message = _slots[read % kCapacity];
        _read.store(read + 1, std::memory_order_seq_cst);
        return true;
    }

private:
    std::atomic<std::uint64_t> _write{0};
    std::atomic<std::uint64_t> _read{0};
    std::array<Message, kCapacity> _slots;
};

void number(Message& message, std::uint64_t value) { std::memcpy(message.data(), &value, sizeof value); }

void expectNumber(const Message& message, std::uint64_t value) {
    if (std::memcmp(message.data(), &value, sizeof value) == 0) return;
    std::fprintf(stderr, "bench: message %llu is wrong\n", static_cast<unsigned long long>(value));
    std::exit(1);
}

/// Nanoseconds per message from one thread to another. A side that finds the ring full or empty yields.
template <typename Queue>
double betweenThreads() {
    constexpr std::uint64_t kMessages = 200'000;
    const auto queue = std::make_unique<Queue>();
    const long long begin = bench::now();
    std::thread writer([&] {
        Message message{};
        for (std::uint64_t i = 0; i < kMessages; ++i) {
            number(message, i);
            while (!queue->put(message)) std::this_thread::yield();
        }
    });
    Message message{};
    for (std::uint64_t i = 0; i < kMessages; ++i) {
        while (!queue->get(message)) std::this_thread::yield();
        expectNumber(message, i);
    }
    writer.join();
    return static_cast<double>(bench::now() - begin) / kMessages;
}

/// Nanoseconds to put one message and take it again.
template <typename Queue>
double onOneThread() {
    constexpr std::uint64_t kMessages = 500'000;
    const auto queue = std::make_unique<Queue>();
    Message message{};
    const long long begin = bench::now();
    for (std::uint64_t i = 0; i < kMessages; ++i) {
        number(message, i);
        queue->put(message);
        queue->get(message);
        expectNumber(message, i);
    }
    return static_cast<double>(bench::now() - begin) / kMessages;
}

template <typename Ours, typename Limit>
bench::Result compare(const char* name, Ours&& ours, Limit&& limit, double aim) {
    std::vector<double> ourTimes;
    std::vector<double> limitTimes;
    for (int turn = 0; turn < kTurns; ++turn) {
        ourTimes.push_back(ours());
        limitTimes.push_back(limit());
    }
    return {name, "ns", bench::median(ourTimes), bench::median(limitTimes), aim};
}

}  // namespace

int main() {
    const bool reached = bench::report("Byte fifo, messages of 40 bytes, time per message, median of turns",
                                       {compare("between two threads, beside boost spsc_queue",
                                                betweenThreads<ByteFifo>, betweenThreads<BoostQueue>, 1.0),
                                        compare("put and got on one thread, beside a bare typed ring",
                                                onOneThread<ByteFifo>, onOneThread<BareTypedRing>, 1.3)});
    return reached ? 0 : 1;
}
