// The code page of a console while a program writes into it, and afterwards.
#include <cstdio>

#include <gtest/gtest.h>

#include "child_process.h"
#include "platform.h"
#include "terminal.h"

namespace {

using namespace std::chrono_literals;

constexpr UINT kFormer = 437;

void useTheConsole() {
    const HANDLE console = CreateFileA("CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       nullptr, OPEN_EXISTING, 0, nullptr);
    SetStdHandle(STD_OUTPUT_HANDLE, console);
}

int codePageAfterBeginning() {
    useTheConsole();
    platform_beginUtf8Console();
    return GetConsoleOutputCP() == CP_UTF8 && platform_standardOutputTakesUtf8() ? 0 : 1;
}

CHILD_ROLE(writesUtf8ToTheConsole) { return codePageAfterBeginning(); }

// As Ctrl-C ends a program that has no handler for it.
CHILD_ROLE(isEndedByControlC) {
    if (codePageAfterBeginning() != 0) return 1;
    auto* const routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernelbase.dll"), "CtrlRoutine")));
    if (!routine) return 3;
    routine(reinterpret_cast<void*>(std::uintptr_t{CTRL_C_EVENT}));
    return 2;
}

class ConsoleTest : public testing::Test {
protected:
    void SetUp() override {
        if (GetConsoleOutputCP() == 0 && !AllocConsole()) GTEST_SKIP() << "there is no console";
        if (!SetConsoleOutputCP(kFormer)) GTEST_SKIP() << "this console has one code page";
    }
};

TEST_F(ConsoleTest, HasUtf8WhileAProgramRunsAndItsOwnCodePageAfterwards) {
    EXPECT_EQ(test::ChildProcess("writesUtf8ToTheConsole").join(60s), 0);
    EXPECT_EQ(GetConsoleOutputCP(), kFormer);
}

TEST_F(ConsoleTest, HasItsCodePageBackAfterControlC) {
    const int exitCode = test::ChildProcess("isEndedByControlC").join(60s);
    if (exitCode == 3) GTEST_SKIP() << "this system has no such routine to call";
    EXPECT_NE(exitCode, 1);
    EXPECT_NE(exitCode, 2);
    EXPECT_EQ(GetConsoleOutputCP(), kFormer);
}

}  // namespace
