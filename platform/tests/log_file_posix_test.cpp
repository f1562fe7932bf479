#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "child_process.h"
#include "log_file.h"
#include "platform_fault.h"
#include "temporary_folder.h"

PLATFORM_FAULT(int, open, (const char* path, int flags, mode_t mode), (path, flags, mode))
PLATFORM_FAULT(ssize_t, write, (int descriptor, const void* data, std::size_t size), (descriptor, data, size))

namespace {

class LogFileWriteTest : public testing::Test {
protected:
    LogFileWriteTest() { EXPECT_TRUE(file.open(path.c_str(), 0)); }

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
    EXPECT_EQ(file.write("hello", 5), 1u);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(content(), "");
}

TEST_F(LogFileWriteTest, ALineThatWasCutEndsBeforeTheNextOne) {
    int calls = 0;
    const test::Fault fault(fault_write, [&](int descriptor, const void* data, std::size_t size) -> ssize_t {
        if (++calls == 2) return -1;
        return real_write(descriptor, data, calls == 1 ? 2 : size);
    });
    EXPECT_EQ(file.write("hello\n", 6), 1u);
    EXPECT_EQ(file.write("world\n", 6), 0u);
    EXPECT_EQ(content(), "he\nworld\n");
}

TEST_F(LogFileWriteTest, ALimitOfTheFilesSizeDoesNotEndTheProgram) {
    rlimit former{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &former), 0);
    rlimit small = former;
    small.rlim_cur = 3;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::size_t lost = file.write("hello", 5) + file.write("hello", 5);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &former), 0);
    EXPECT_EQ(lost, 2u);
    EXPECT_EQ(content(), "hel");
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGXFSZ), 0);
}

TEST_F(LogFileWriteTest, APipeInThePlaceOfAFileIsNotWaitedFor) {
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_FALSE(LogFile().open(pipe.c_str(), 0));
}

TEST_F(LogFileWriteTest, AFileThatWasRenamedForAnotherProcessIsLeft) {
    LogFile limited;
    ASSERT_TRUE(limited.open(path.c_str(), 10));
    limited.write("0123456789\n", 11);
    ASSERT_EQ(::rename(path.c_str(), (path + ".1").c_str()), 0);
    limited.write("new\n", 4);
    EXPECT_EQ(content(), "new\n");
}

TEST_F(LogFileWriteTest, AFileThatAStoppedProcessHasLockedGrowsOnAndIsPutAsideLater) {
    LogFile limited;
    ASSERT_TRUE(limited.open(path.c_str(), 10));
    const int other = ::open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
    ASSERT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(limited.write("0123456789\n", 11), 0u);
    EXPECT_EQ(limited.write("0123456789\n", 11), 0u);
    EXPECT_EQ(limited.write("lost\n", 5), 1u);
    EXPECT_TRUE(limited.isOverfull());
    ::close(other);
    EXPECT_EQ(limited.write("new\n", 4), 0u);
    EXPECT_FALSE(limited.isOverfull());
    EXPECT_EQ(content(), "new\n");
}

TEST_F(LogFileWriteTest, ChildrenDoNotInheritTheFile) {
    const int probe = ::open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
    ::close(probe);
    EXPECT_EQ(::fcntl(probe - 1, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);  // the lowest free number came after the log's
}

// ---- standard error, which belongs to the host; in a child process, where it is not needed

struct SignalState {
    SignalState() {
        sigpending(&pending);
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        sigaction(SIGPIPE, nullptr, &action);
    }
    bool operator==(const SignalState& other) const {
        return sigismember(&pending, SIGPIPE) == sigismember(&other.pending, SIGPIPE) &&
               sigismember(&mask, SIGPIPE) == sigismember(&other.mask, SIGPIPE) &&
               sigismember(&mask, SIGXFSZ) == sigismember(&other.mask, SIGXFSZ) &&
               action.sa_handler == other.action.sa_handler;
    }
    sigset_t pending;
    sigset_t mask;
    struct sigaction action;
};

// Standard error loses its reader. Argument: its kind, pipe or socket.
void breakStandardError(const std::string& kind) {
    int ends[2];
    ASSERT_EQ(kind == "socket" ? ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) : ::pipe(ends), 0);
    ASSERT_GE(::dup2(ends[1], STDERR_FILENO), 0);
    ::close(ends[0]);
    ::close(ends[1]);
}

CHILD_ROLE(writesToABrokenStandardError) {
    breakStandardError(arguments.at(0));
    test::Fault fault(fault_open, [&](const char* path, int flags, mode_t mode) {
        errno = EACCES;
        return arguments.at(1) == "own" ? real_open(path, flags, mode) : -1;
    });
    const SignalState before;
    LogFile file;
    const std::size_t lost = file.write("hello\n", 6) + file.write("world\n", 6);
    return lost == 2 && SignalState() == before ? 0 : 1;
}

CHILD_ROLE(writesWhileASignalIsPending) {
    breakStandardError("pipe");
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    raise(SIGPIPE);
    const SignalState before;
    LogFile file;
    return file.write("hello\n", 6) == 1 && SignalState() == before ? 0 : 1;
}

class BrokenStandardErrorTest : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(BrokenStandardErrorTest, LosesLinesAndLeavesTheHostsSignalsAlone) {
    const auto [kind, description] = GetParam();
    test::ChildProcess child("writesToABrokenStandardError", {kind, description});
    EXPECT_EQ(child.join(std::chrono::seconds(60)), 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, BrokenStandardErrorTest,
                         testing::Values(std::pair("pipe", "own"), std::pair("pipe", "the host's"),
                                         std::pair("socket", "own")));

TEST(StandardErrorTest, ASignalThatWaitedBeforeStillWaits) {
    EXPECT_EQ(test::ChildProcess("writesWhileASignalIsPending").join(std::chrono::seconds(60)), 0);
}

// Nobody reads. Arguments: pipe or socket, and whether the log can reopen it.
CHILD_ROLE(fillsStandardError) {
    int ends[2];
    if ((arguments.at(0) == "socket" ? ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) : ::pipe(ends)) != 0) return 2;
    ::dup2(ends[1], STDERR_FILENO);
    test::Fault fault(fault_open, [&](const char* path, int flags, mode_t mode) {
        errno = EACCES;
        return arguments.at(1) == "own" ? real_open(path, flags, mode) : -1;
    });
    LogFile file;
    const std::string line(1000, 'x');
    std::size_t lost = 0;
    for (int i = 0; i < 1000; ++i) lost += file.write(line.data(), line.size());
    return lost > 0 && (::fcntl(STDERR_FILENO, F_GETFL) & O_NONBLOCK) == 0 ? 0 : 1;
}

TEST_P(BrokenStandardErrorTest, IsNotWaitedForWithoutEndWhenNobodyReads) {
    const auto [kind, description] = GetParam();
    EXPECT_EQ(test::ChildProcess("fillsStandardError", {kind, description}).join(std::chrono::seconds(60)), 0);
}

CHILD_ROLE(writesAroundARedirection) {
    const int first = ::open(arguments.at(0).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    int ends[2];
    if (::pipe(ends) != 0) return 2;
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
    LogFile file;
    file.write("first\n", 6);
    ::dup2(first, STDERR_FILENO);
    file.write("second\n", 7);
    char text[20] = {};
    // The reader reaches the end: the log keeps no end of the pipe open.
    return ::read(ends[0], text, sizeof text) == 6 && ::read(ends[0], text, sizeof text) == 0 ? 0 : 1;
}

TEST_F(LogFileWriteTest, StandardErrorThatIsRedirectedIsFollowed) {
    ASSERT_EQ(test::ChildProcess("writesAroundARedirection", {path}).join(std::chrono::seconds(60)), 0);
    EXPECT_EQ(content(), "second\n");
}

CHILD_ROLE(opensWithoutStandardDescriptors) {
    for (int descriptor = 0; descriptor < 3; ++descriptor) ::close(descriptor);
    LogFile file;
    file.write("lost\n", 5);
    if (!file.open(arguments.at(0).c_str(), 0)) return 2;
    file.write("kept\n", 5);
    return ::fcntl(0, F_GETFD) < 0 && ::fcntl(1, F_GETFD) < 0 && ::fcntl(2, F_GETFD) < 0 ? 0 : 1;
}

TEST_F(LogFileWriteTest, TheHostsClosedStandardDescriptorsStayClosed) {
    ASSERT_EQ(test::ChildProcess("opensWithoutStandardDescriptors", {path}).join(std::chrono::seconds(60)), 0);
    EXPECT_EQ(content(), "kept\n");
}

}  // namespace
