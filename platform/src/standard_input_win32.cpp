#include <algorithm>

#include "platform.h"
#include "standard_input.h"

namespace {

constexpr std::size_t kMaxPiece = std::size_t{1} << 30;

// A pipe cannot be waited for: it is looked at again and again. Less than one: it has ended.
std::ptrdiff_t waitingBytes(HANDLE pipe, std::int64_t untilNs) {
    for (;;) {
        DWORD waiting = 0;
        // A pipe that cannot be looked at is read, which waits as long as it takes.
        if (PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting, nullptr) == 0)
            return GetLastError() == ERROR_BROKEN_PIPE ? 0 : static_cast<std::ptrdiff_t>(kMaxPiece);
        if (waiting > 0) return static_cast<std::ptrdiff_t>(waiting);
        if (platform_monotonicNanoseconds() >= untilNs) return -1;
        Sleep(1);
    }
}

}  // namespace

std::ptrdiff_t platform_readStandardInput(void* buffer, std::size_t size, std::int64_t untilNs) {
    HANDLE const input = GetStdHandle(STD_INPUT_HANDLE);
    std::size_t most = std::min(size, kMaxPiece);
    if (GetFileType(input) == FILE_TYPE_PIPE) {
        const std::ptrdiff_t waiting = waitingBytes(input, untilNs);
        if (waiting <= 0) return waiting;
        most = std::min(most, static_cast<std::size_t>(waiting));
    }
    DWORD count = 0;
    return ReadFile(input, buffer, static_cast<DWORD>(most), &count, nullptr) != 0 ? static_cast<std::ptrdiff_t>(count)
                                                                                   : 0;
}

bool platform_standardInputIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}
