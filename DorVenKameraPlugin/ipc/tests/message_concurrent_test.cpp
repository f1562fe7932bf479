// Both ends of a message fifo on two threads, where ThreadSanitizer watches.
#include <cstdint>
#include <thread>

#include "endpoint_test.h"

namespace {

using MessageConcurrentTest = test::EndpointTest;

TEST_F(MessageConcurrentTest, MessagesArriveInOrderAndWhole) {
    constexpr std::uint64_t kMessages = 5000;
    const auto receiver = makeReceiver();
    std::thread sending([this] {
        const auto sender = makeSender();
        while (!sender->isConnected()) std::this_thread::yield();
        for (std::uint64_t number = 0; number < kMessages; ++number) {
            const std::uint64_t words[5] = {number, number * 3, number * 5, number * 7, ~number};
            const test::LinkedMemory memory(_memoryName);
            while (MMemFifo_GetFree(memory.fifo()) < sizeof words) std::this_thread::yield();
            sender->write(words, sizeof words);
            sender->notify();
        }
        while (MMemFifo_GetUsed(test::LinkedMemory(_memoryName).fifo()) > 0) std::this_thread::yield();
    });
    std::uint64_t wrong = 0;
    std::uint64_t number = 0;
    for (int waits = 0; number < kMessages && waits < 20'000; ++waits) {
        receiver->wait(0.01);
        while (receiver->isConnected() && receiver->hasData()) {
            std::uint64_t words[5] = {};
            receiver->read(words, sizeof words);
            wrong += words[0] != number || words[2] != number * 5 || words[4] != ~number;
            ++number;
        }
    }
    sending.join();
    EXPECT_EQ(number, kMessages);
    EXPECT_EQ(wrong, 0u);
}

TEST_F(MessageConcurrentTest, NotifyOfAnotherThreadEndsTheWait) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    std::thread notifier([&] { receiver->notify(); });
    EXPECT_EQ(receiver->wait(60.0), 1);
    notifier.join();
}

}  // namespace
