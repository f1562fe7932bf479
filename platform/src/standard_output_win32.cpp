#include <algorithm>
#include <cstdint>

#include "platform.h"
#include "standard_output.h"

namespace {

constexpr std::size_t kMaxPiece = std::size_t{1} << 20;  // some pipes take no more at once

}  // namespace

// The system's own call: the C library would change line ends.
StandardOutputWrite platform_writeStandardOutput(const void* bytes, std::size_t size) {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    const auto* next = static_cast<const std::uint8_t*>(bytes);
    while (size > 0) {
        DWORD written = 0;
        if (!WriteFile(output, next, static_cast<DWORD>(std::min(size, kMaxPiece)), &written, nullptr)) {
            const DWORD code = GetLastError();
            const bool gone = code == ERROR_NO_DATA || code == ERROR_BROKEN_PIPE || code == ERROR_PIPE_NOT_CONNECTED;
            return gone ? StandardOutputWrite::readerGone : StandardOutputWrite::failed;
        }
        next += written;
        size -= written;
    }
    return StandardOutputWrite::done;
}

bool platform_standardOutputHasReader() { return true; }
