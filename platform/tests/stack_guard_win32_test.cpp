// The stack protector of Windows builds: what happens after a stack overrun, and the number that detects it.
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "child_process.h"
#include "platform.h"

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the compiler's name
extern "C" std::uintptr_t __stack_chk_guard;

namespace {

using namespace std::chrono_literals;

// Writes that many bytes into a buffer of 16.
int overrun(std::size_t count) {
    volatile char buffer[16] = {};
    volatile char* place = buffer;
    for (std::size_t index = 0; index < count; ++index) place[index] = 'x';
    return buffer[0];
}

CHILD_ROLE(writesOnItsStack) { return overrun(std::stoul(arguments.at(0))) == 'x' ? 0 : 1; }

// Some bits of the number, as an exit code.
CHILD_ROLE(tellsItsStackGuard) { return static_cast<int>(__stack_chk_guard >> 32 & 0x3FFFFFFF); }

TEST(StackGuard, OverrunStackEndsTheProcessAtOnce) {
    constexpr auto kStackBufferOverrun = static_cast<int>(0xC0000409);
    EXPECT_EQ(test::ChildProcess("writesOnItsStack", {"16"}).join(60s), 0);
    EXPECT_EQ(test::ChildProcess("writesOnItsStack", {"40"}).join(60s), kStackBufferOverrun);
}

TEST(StackGuard, NumberIsAnotherInEachProcessAndEndsInZero) {
    EXPECT_EQ(__stack_chk_guard & 0xFF, 0u);
    const int first = test::ChildProcess("tellsItsStackGuard").join(60s);
    EXPECT_NE(test::ChildProcess("tellsItsStackGuard").join(60s), first);
}

}  // namespace
