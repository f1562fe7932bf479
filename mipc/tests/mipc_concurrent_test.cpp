// The shared objects between threads of one process, where ThreadSanitizer watches.
#include <atomic>
#include <cstdint>
#include <latch>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "child_process.h"
#include "mevent.h"
#include "mmemlinefifo.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "msharedmem_registry.h"
#include "platform.h"
#include "reports.h"
#include "shared_memory_test.h"

namespace {

constexpr int kThreads = 8;

// Runs a function in eight threads at once; each gets its number.
template <typename Function>
void inEightThreads(Function&& function) {
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([&, number] {
            start.arrive_and_wait();
            function(number);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

class ConcurrentMemoryTest : public test::SharedMemoryTest {
protected:
    std::int32_t linkCount(const void* memory) const {
        const MSharedMem_RegistryLock lock;
        const auto entry = SearchMemLinkInfo(memory);
        return entry == MSharedMem_NoLinkInfo() ? 0 : entry->second.linkCount;
    }
};

TEST_F(ConcurrentMemoryTest, EightThreadsLinkAndUnlinkAThousandTimesAndTheCountIsRight) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    std::atomic<int> failures{0};
    inEightThreads([&](int) {
        for (int round = 0; round < 1000; ++round) {
            if (MSharedMem_Link(_name.c_str()) != memory || MSharedMem_GetSize(memory) != 100) ++failures;
            if (MSharedMem_Unlink(memory) != 1) ++failures;
        }
    });
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(linkCount(memory), 1);
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    EXPECT_EQ(linkCount(memory), 0);
}

TEST_F(ConcurrentMemoryTest, EightThreadsLinkMemoryThatIsMappedAnewWheneverNobodyHasIt) {
    const test::ForeignMemory foreign(_name, 100);
    foreign.bytes()[7] = 77;
    std::atomic<int> failures{0};
    inEightThreads([&](int) {
        for (int round = 0; round < 300; ++round) {
            auto* const memory = static_cast<unsigned char*>(MSharedMem_Link(_name.c_str()));
            if (!memory || memory[7] != 77) ++failures;
            if (MSharedMem_Unlink(memory) != 1) ++failures;
        }
    });
    EXPECT_EQ(failures, 0);
    const MSharedMem_RegistryLock lock;
    EXPECT_EQ(SearchMemLinkInfo(_name), MSharedMem_NoLinkInfo());
}

TEST_F(ConcurrentMemoryTest, OneOfEightThreadsCreatesAName) {
    std::atomic<int> created{0};
    inEightThreads([&](int) {
        if (MSharedMem_Create(_name.c_str(), 100)) ++created;
    });
    EXPECT_EQ(created, 1);
    EXPECT_EQ(_reports.errorTraces(),
              std::vector<std::string>(kThreads - 1, "MSharedMem_Create(): name \"" + _name + "\" already exist"));
    void* const memory = MSharedMem_Link(_name.c_str());
    EXPECT_EQ(MSharedMem_Destroy(memory), 1);
}

TEST_F(ConcurrentMemoryTest, EightThreadsLinkOrCreateOneMemory) {
    std::vector<void*> memories(kThreads);
    inEightThreads(
        [&](int number) { memories[static_cast<std::size_t>(number)] = MSharedMem_LinkOrCreate(_name.c_str(), 100); });
    EXPECT_THAT(memories, testing::Each(memories.front()));
    EXPECT_EQ(linkCount(memories.front()), kThreads);
    EXPECT_EQ(MSharedMem_Destroy(memories.front()), 1);
}

// -------------------------------------------------------------------------------------------------------- line fifo

TEST(ConcurrentLineFifoTest, ReaderThreadSeesEveryLineOfTheWriterThreadInOrderAndWhole) {
    constexpr std::uint64_t kLines = 100'000;
    constexpr std::size_t kWords = 8;
    alignas(8) static unsigned char memory[64 + 4 * kWords * 8];
    ASSERT_EQ(MMemLineFifo_CreateBySize(memory, sizeof memory, kWords * 8), 1);
    ASSERT_EQ(MMemLineFifo_Link(memory), 1);
    std::thread writer([] {
        for (std::uint64_t number = 0; number < kLines; ++number) {
            auto* words = static_cast<std::uint64_t*>(MMemLineFifo_GetWriteLine(memory));
            for (std::size_t word = 0; word < kWords; ++word) words[word] = number + word;
            while (!MMemLineFifo_PutLine(memory)) std::this_thread::yield();
        }
    });
    std::uint64_t wrong = 0;
    for (std::uint64_t number = 0; number < kLines; ++number) {
        const std::uint64_t* words = nullptr;
        while (!(words = static_cast<const std::uint64_t*>(MMemLineFifo_GetReadLine(memory))))
            std::this_thread::yield();
        for (std::size_t word = 0; word < kWords; ++word) wrong += words[word] != number + word;
        MMemLineFifo_ReleaseLine(memory);
    }
    writer.join();
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(MMemLineFifo_GetCount(memory), 0u);
}

TEST(ConcurrentLineFifoTest, CountAndMarksCanBeReadBesideTheExchange) {
    alignas(8) static unsigned char memory[64 + 4 * 8];
    ASSERT_EQ(MMemLineFifo_CreateBySize(memory, sizeof memory, 8), 1);
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            if (!MMemLineFifo_Link(memory)) continue;
            if (MMemLineFifo_GetReadLine(memory)) MMemLineFifo_ReleaseLine(memory);
            MMemLineFifo_Unlink(memory);
        }
    });
    for (int round = 0; round < 20'000; ++round) {
        MMemLineFifo_PutLine(memory);
        EXPECT_LE(MMemLineFifo_GetCount(memory), 3u);
        const int attached = MMemLineFifo_IsReaderAttached(memory);
        EXPECT_TRUE(attached == 0 || attached == 1);
        EXPECT_EQ(MMemLineFifo_GetLineLength(memory), 8u);
    }
    done = true;
    reader.join();
}

TEST(ConcurrentLineFifoTest, OneOfEightReadersThatComeAtOnceIsAttached) {
    test::Reports reports("mipc/src/mmemlinefifo");
    alignas(8) static unsigned char memory[64 + 2 * 8];
    for (int round = 0; round < 200; ++round) {
        ASSERT_EQ(MMemLineFifo_Create(memory, 1, 8), 1);
        std::atomic<int> attached{0};
        inEightThreads([&](int) { attached += MMemLineFifo_Link(memory); });
        ASSERT_EQ(attached, 1);
        ASSERT_EQ(reports.errorTraces().size(), static_cast<std::size_t>(kThreads - 1));
    }
}

// ------------------------------------------------------------------------------------------------------------ events

TEST(ConcurrentEventTest, WhatWasWrittenBeforeNotifyIsSeenAfterWait) {
    const std::string name = test::uniqueName("ping");
    MProcessEvent pingOfOne(name.c_str());
    MProcessEvent pingOfOther(name.c_str());
    MProcessEvent pong("");
    int value = 0;  // guarded by the events alone
    std::thread other([&] {
        for (int round = 1; round <= 5000; ++round) {
            if (pingOfOther.Wait(60.0) != 1 || value != round) return;
            value = -round;
            pong.Notify();
        }
    });
    int round = 1;
    for (; round <= 5000; ++round) {
        value = round;
        pingOfOne.Notify();
        if (pong.Wait(60.0) != 1 || value != -round) break;
    }
    other.join();
    EXPECT_EQ(round, 5001);
}

TEST(ConcurrentEventTest, EachNotifyReleasesOneOfEightWaiters) {
    MProcessEvent event("");
    MProcessEvent released("");
    std::atomic<int> signalled{0};
    std::thread notifier([&] {
        for (int count = 0; count < kThreads * 100; ++count) {
            event.Notify();
            if (released.Wait(60.0) != 1) return;
        }
    });
    inEightThreads([&](int) {
        for (int round = 0; round < 100; ++round) {
            if (event.Wait(60.0) == 1) ++signalled;
            released.Notify();
        }
    });
    notifier.join();
    EXPECT_EQ(signalled, kThreads * 100);
    EXPECT_EQ(event.Wait(0.0), -1);
}

TEST(ConcurrentEventTest, EventsOfOneNameAreMadeAndDeletedByEightThreads) {
    const std::string name = test::uniqueName("made");
    std::atomic<int> failures{0};
    inEightThreads([&](int) {
        for (int round = 0; round < 200; ++round) {
            const HANDLE event = MEvent_Create(name.c_str());
            if (!event || MEvent_Notify(event) != 1 || MEvent_Delete(event) != 1) ++failures;
        }
    });
    EXPECT_EQ(failures, 0);
}

}  // namespace
