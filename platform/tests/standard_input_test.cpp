#include "standard_input.h"

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "platform.h"
#include "standard_input_pipe.h"

namespace {

constexpr std::int64_t kLongNs = 60'000'000'000;

// What comes in one piece; "-" when nothing does, "." at the end.
std::string piece(std::size_t size, std::int64_t waitNs = 0) {
    std::string text(size, '\0');
    const std::ptrdiff_t count =
        platform_readStandardInput(text.data(), size, platform_monotonicNanoseconds() + waitNs);
    if (count <= 0) return count < 0 ? "-" : ".";
    return text.substr(0, static_cast<std::size_t>(count));
}

TEST(StandardInputTest, WhatHasComeIsReadUntilTheEnd) {
    test::StandardInputPipe pipe;
    EXPECT_EQ(piece(10), "-");
    pipe.put("abc\r\n\x1A");
    EXPECT_EQ(piece(2, kLongNs), "ab");
    EXPECT_EQ(piece(10, kLongNs), "c\r\n\x1A") << "as they are, on every system";
    EXPECT_EQ(piece(10), "-");
    pipe.put("d");
    pipe.end();
    EXPECT_EQ(piece(10, kLongNs), "d");
    EXPECT_EQ(piece(10, kLongNs), ".");
    EXPECT_EQ(piece(10), ".");
}

TEST(StandardInputTest, BytesThatComeLaterAreWaitedFor) {
    test::StandardInputPipe pipe;
    std::thread writer([&pipe] { pipe.put("late"); });
    EXPECT_EQ(piece(10, kLongNs), "late");
    writer.join();
}

TEST(StandardInputTest, APipeIsNoTerminal) {
    const test::StandardInputPipe pipe;
    EXPECT_FALSE(platform_standardInputIsTerminal());
}

}  // namespace
