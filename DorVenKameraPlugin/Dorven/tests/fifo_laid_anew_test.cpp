// A ring that its writer recreates with another geometry, at any moment for the reader: this is no fault and not
// reported.
#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TeskImagesFifo.h"
#include "log_recorder.h"
#include "mmemlinefifo.h"
#include "object_names.h"
#include "simulator_ring.h"

namespace {

constexpr int kRounds = 500;
constexpr std::size_t kLineLength = 64;
constexpr std::size_t kMostLines = 8;

TEST(RingLaidAnew, WhileItIsOpenedAndReadIsNotReported) {
    test::LogRecorder log(3);
    void* const memory =
        MSharedMem_Create(image_road::kImagesMemory, MMemLineFifo_MemoryBytes(kMostLines, kLineLength));
    ASSERT_NE(memory, nullptr);
    std::atomic<int> laid = 0;
    std::thread writer([&] {
        for (int round = 1; round <= kRounds; ++round) {
            const auto variant = static_cast<std::size_t>(round);
            MMemLineFifo_Create(memory, 1 + variant % kMostLines, kLineLength - 8 * (variant % 3));
            MMemLineFifo_PutLine(memory);
            laid = round;
            if (round == kRounds) break;
            while (!MMemLineFifo_IsReaderAttached(memory)) std::this_thread::yield();
            for (unsigned pause = 0; pause < variant * 37 % 400; ++pause)
                std::atomic_signal_fence(std::memory_order_seq_cst);
        }
    });
    for (int round = 1; round <= kRounds; ++round) {
        while (laid < round) std::this_thread::yield();  // instead of a signal
        auto fifo = kest::dorven::openImageFifo();
        while (MMemLineFifo_IsReaderAttached(memory)) {
            if (kest::dorven::frontLine(fifo)) kest::dorven::popLine(fifo);
            if (round == kRounds) break;  // this one stays
        }
        kest::dorven::closeImageFifo(fifo);
    }
    writer.join();
    EXPECT_THAT(log.errors(), testing::IsEmpty());
    test::dropImagesMemory();
}

}  // namespace
