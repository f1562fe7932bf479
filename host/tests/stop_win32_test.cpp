// How a grab ends when its console is closed.
#include <cstdio>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host.h"
#include "image_ring.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "object_names.h"
#include "platform.h"
#include "programs_fixture.h"

namespace {

using test::ProgramsTest;
using namespace std::chrono_literals;

// The routine that the system runs in a process, on a separate thread, when its console reports something.
LPTHREAD_START_ROUTINE consoleRoutine() {
    return reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernelbase.dll"), "CtrlRoutine")));
}

// Ends the process afterwards, as the system does.
DWORD WINAPI closeConsole(void*) {
    const auto close = static_cast<std::uintptr_t>(CTRL_CLOSE_EVENT);
    consoleRoutine()(reinterpret_cast<void*>(close));
    ExitProcess(96);
}

void tellOfAClosedConsole(simulator::ImageRing& ring) {
    void* const memory = MSharedMem_Link(image_road::kImagesMemory);
    while (MMemLineFifo_IsReaderAttached(memory) == 0) {
        ring.wakeReader();
        std::this_thread::sleep_for(10ms);
    }
    MSharedMem_Unlink(memory);
    CloseHandle(CreateThread(nullptr, 0, closeConsole, nullptr, 0, nullptr));
}

// A grab that writes into the two files, until its console is closed.
CHILD_ROLE(grabWhoseConsoleIsClosed) {
    if (!std::freopen(arguments.at(0).c_str(), "w", stdout) || !std::freopen(arguments.at(1).c_str(), "w", stderr))
        return 98;
    simulator::ImageRing ring(100, 4);
    if (ring.open() != simulator::ImageRing::OpenResult::opened) return 97;
    std::thread console([&ring] { tellOfAClosedConsole(ring); });
    const char* const argv[] = {"dorven-host", "grab", "--json", "--timeout", "60"};
    const int exitCode = host::hostMain(5, argv);
    console.join();
    return exitCode;
}

TEST_F(ProgramsTest, GrabWhoseConsoleIsClosedEndsCleanlyAndStillPrints) {
    if (!consoleRoutine()) GTEST_SKIP() << "this system has no such routine to call";
    test::ChildProcess grab("grabWhoseConsoleIsClosed", {_folder.path("out.txt"), _folder.path("err.txt")});
    EXPECT_EQ(grab.join(60s), 0) << people();
    EXPECT_EQ(data()["end"], "stop");
}

}  // namespace
