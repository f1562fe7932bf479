#include <cerrno>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "child_process.h"
#include "log_file.h"
#include "platform_fault.h"
#include "temporary_folder.h"

PLATFORM_FAULT(ssize_t, write, (int descriptor, const void* data, std::size_t size), (descriptor, data, size))

namespace {

class LogFileWriteTest : public testing::Test {
protected:
    LogFileWriteTest() { EXPECT_TRUE(file.open(path.c_str())); }

    std::string content() const {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }

    test::TemporaryFolder folder;
    const std::string path = folder.path("log.txt");
    LogFile file;
};

TEST_F(LogFileWriteTest, ALineIsOneCall) {
    int calls = 0;
    const test::Fault fault(fault_write, [&](int descriptor, const void* data, std::size_t size) {
        ++calls;
        return real_write(descriptor, data, size);
    });
    const std::string line(100000, 'x');
    file.write(line.data(), line.size());
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(content(), line);
}

TEST_F(LogFileWriteTest, WhatWasWrittenInPartIsContinued) {
    const test::Fault fault(fault_write, [](int descriptor, const void* data, std::size_t size) {
        return real_write(descriptor, data, std::min<std::size_t>(size, 2));
    });
    file.write("hello", 5);
    EXPECT_EQ(content(), "hello");
}

TEST_F(LogFileWriteTest, AnInterruptedCallIsRepeated) {
    int calls = 0;
    const test::Fault fault(fault_write, [&](int descriptor, const void* data, std::size_t size) -> ssize_t {
        if (++calls > 1) return real_write(descriptor, data, size);
        errno = EINTR;
        return -1;
    });
    file.write("hello", 5);
    EXPECT_EQ(content(), "hello");
}

TEST_F(LogFileWriteTest, AFailedCallGivesUp) {
    int calls = 0;
    const test::Fault fault(fault_write, [&](int, const void*, std::size_t) -> ssize_t {
        ++calls;
        errno = ENOSPC;
        return -1;
    });
    file.write("hello", 5);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(content(), "");
}

TEST_F(LogFileWriteTest, ChildrenDoNotInheritTheFile) {
    const int probe = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ::close(probe);
    EXPECT_EQ(::fcntl(probe - 1, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);  // the lowest free number came after the log's
}

}  // namespace

// Started without standard error, whose number the log's file would get.
CHILD_ROLE(logsWithoutStandardError) {
    ::close(STDERR_FILENO);
    LogFile file;
    if (!file.open(arguments.at(0).c_str())) return 1;
    if (::fcntl(STDERR_FILENO, F_GETFD) >= 0) return 2;
    file.write("hello", 5);
    return 0;
}

TEST_F(LogFileWriteTest, WithoutStandardErrorTheFileIsNotStandardError) {
    test::ChildProcess child("logsWithoutStandardError", {path});
    EXPECT_EQ(child.join(std::chrono::seconds(20)), 0);
    EXPECT_EQ(content(), "hello");
}
