#include "process_cpu.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "platform.h"

namespace {

TEST(ProcessCpuTest, WorkCountsAndWaitingDoesNot) {
    const std::int64_t begun = host::processCpuNanoseconds();
    const std::int64_t limitNs = platform_monotonicNanoseconds() + 60'000'000'000;
    volatile unsigned work = 0;
    while (host::processCpuNanoseconds() < begun + 100'000'000 && platform_monotonicNanoseconds() < limitNs)
        for (int round = 0; round < 1'000'000; ++round) work = work + 1;
    const std::int64_t worked = host::processCpuNanoseconds();
    EXPECT_GE(worked, begun + 100'000'000);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_LT(host::processCpuNanoseconds() - worked, 150'000'000);
}

}  // namespace
