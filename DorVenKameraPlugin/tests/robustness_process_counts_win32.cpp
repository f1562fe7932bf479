#include "platform.h"
#include "robustness_process_counts.h"

// Needs what platform.h includes.
// clang-format off
#include <tlhelp32.h>
// clang-format on

namespace test {
namespace {

// Handle values are multiples of 4, and the lowest free one is used next.
long nextHandle() {
    const HANDLE fresh = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(fresh);
    return static_cast<long>(reinterpret_cast<std::intptr_t>(fresh) / 4);
}

long nextTlsIndex() {
    const DWORD fresh = TlsAlloc();
    TlsFree(fresh);
    return static_cast<long>(fresh);
}

long threadsOfThisProcess() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    long count = 0;
    for (BOOL found = Thread32First(snapshot, &entry); found; found = Thread32Next(snapshot, &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    CloseHandle(snapshot);
    return count;
}

}  // namespace

// Mappings are not counted here: a view that is kept keeps its handle too.
ProcessCounts ProcessCounts::now() { return {nextHandle(), nextTlsIndex(), threadsOfThisProcess(), 0}; }

ProcessCounts keepAHandle() {
    CreateEventA(nullptr, FALSE, FALSE, nullptr);
    return {1, 0, 0, 0};
}

ProcessCounts keepAMapping() { return keepAHandle(); }

ProcessCounts keepATlsIndex() {
    TlsAlloc();
    return {0, 1, 0, 0};
}

ProcessCounts keepAThread() {
    const HANDLE thread = CreateThread(
        nullptr, 0,
        [](void*) -> DWORD {
            Sleep(60000);
            return 0;
        },
        nullptr, 0, nullptr);
    CloseHandle(thread);
    return {0, 0, 1, 0};
}

}  // namespace test
