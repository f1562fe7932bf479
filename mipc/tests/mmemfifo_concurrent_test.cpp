// The byte fifo between threads of one process, where ThreadSanitizer watches.
#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "byte_stream.h"
#include "mmemfifo.h"
#include "reports.h"

namespace {

constexpr std::size_t kSize = 2000;
constexpr std::size_t kBytes = kSize + kMMemFifoOverhead;

TEST(ConcurrentByteFifoTest, PiecesOfAnySizeArriveAsOneStream) {
    constexpr int kPieces = 100'000;
    alignas(8) static unsigned char memory[kBytes];
    ASSERT_EQ(MMemFifo_Create(memory, kSize), 1);
    ASSERT_EQ(MMemFifo_Link(memory), 1);
    std::atomic<bool> written{false};
    std::thread writer([&] {
        written = test::writeStream(memory, kPieces);
        MMemFifo_Destroy(memory);
    });
    const test::StreamResult result = test::readStream(memory);
    writer.join();
    EXPECT_TRUE(written);
    EXPECT_EQ(result.wrong, 0u);
    EXPECT_EQ(result.bytes, test::streamBytes(kPieces));
}

TEST(ConcurrentByteFifoTest, UsedAndMarksCanBeReadBesideTheExchange) {
    alignas(8) static unsigned char memory[kBytes];
    ASSERT_EQ(MMemFifo_Create(memory, kSize), 1);
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            if (!MMemFifo_Link(memory)) continue;
            char bytes[7];
            MMemFifo_Read(memory, bytes, sizeof bytes);
            MMemFifo_Unlink(memory);
        }
    });
    for (int round = 0; round < 20'000; ++round) {
        MMemFifo_Write(memory, "hello", 5);
        EXPECT_LE(MMemFifo_GetUsed(memory), kSize);
        EXPECT_LE(MMemFifo_GetFree(memory), kSize);
        const int attached = MMemFifo_IsReaderAttached(memory);
        EXPECT_TRUE(attached == 0 || attached == 1);
        EXPECT_EQ(MMemFifo_IsSound(memory, kBytes), 1);
    }
    done = true;
    reader.join();
}

TEST(ConcurrentByteFifoTest, OneOfEightReadersThatComeAtOnceIsAttached) {
    constexpr int kThreads = 8;
    test::Reports reports("mipc/src/mmemfifo");
    alignas(8) static unsigned char memory[kBytes];
    for (int round = 0; round < 200; ++round) {
        ASSERT_EQ(MMemFifo_Create(memory, kSize), 1);
        std::atomic<int> attached{0};
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&] {
                for (++ready; ready < kThreads;) std::this_thread::yield();
                attached += MMemFifo_Link(memory);
            });
        }
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ(attached, 1);
        ASSERT_EQ(reports.errorTraces().size(), static_cast<std::size_t>(kThreads - 1));
    }
}

TEST(ConcurrentByteFifoTest, HeaderThatIsDamagedAllTheTimeLeadsNeitherOutNorIntoALoop) {
    const std::unique_ptr<unsigned char[]> block(new unsigned char[kBytes]);
    auto* const fifo = reinterpret_cast<MMemFifo*>(block.get());
    ASSERT_EQ(MMemFifo_Create(fifo, kSize), 1);
    std::atomic<bool> done{false};
    std::thread vandal([&] {
        std::mt19937_64 random(7);
        const std::uint64_t values[] = {0, 1, kSize, kSize + 1, kSize + 2, 1'000'000'000, UINT64_MAX};
        while (!done) {
            for (std::uint64_t* field :
                 {&fifo->writerMark, &fifo->writeOffset, &fifo->readerMark, &fifo->readOffset, &fifo->dataSize})
                std::atomic_ref(*field).store(values[random() % std::size(values)], std::memory_order_relaxed);
        }
    });
    std::vector<char> bytes(2 * kSize);
    std::mt19937_64 random(8);
    for (int round = 0; round < 200'000; ++round) {
        MMemFifo_Write(fifo, bytes.data(), random() % bytes.size(), kBytes);
        MMemFifo_Read(fifo, bytes.data(), random() % bytes.size(), kBytes);
    }
    done = true;
    vandal.join();
    ASSERT_EQ(MMemFifo_Create(fifo, kSize), 1);
    EXPECT_EQ(MMemFifo_Write(fifo, bytes.data(), kSize, kBytes), 1);
}

}  // namespace
