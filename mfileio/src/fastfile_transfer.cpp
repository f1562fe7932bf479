#include "fastfile_transfer.h"

#include <algorithm>
#include <iterator>

#include "errtrace.h"
#include "fastfile.h"

namespace {

struct WriteMode {
    DWORD access;
    DWORD creation;
};

// The row number is the mode.
// clang-format off
constexpr WriteMode kWriteModes[] = {
    {FILE_WRITE_DATA,  CREATE_NEW   },
    {FILE_APPEND_DATA, OPEN_ALWAYS  },
    {FILE_WRITE_DATA,  CREATE_ALWAYS},
};
// clang-format on

}  // namespace

bool MFastFile::keepName(const char* fileName) {
    if (withMemory([&] { _fileName = fileName ? fileName : ""; })) return true;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return false;
}

HANDLE openfile(const char* fileName) {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    return CreateFileA(fileName, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::ptrdiff_t read64(HANDLE file, void* target, std::size_t size, std::size_t largestPiece) {
    std::size_t asked = 0;
    std::size_t total = 0;
    DWORD count = 0;
    do {
        const auto piece = static_cast<DWORD>(std::min(size - asked, largestPiece));
        if (!ReadFile(file, static_cast<char*>(target) + total, piece, &count, nullptr)) {
            const DWORD error = GetLastError();
            M_ERRTRACE("%s(): ReadFile() failed: %u", "read64", static_cast<unsigned>(error));
            return -1;
        }
        asked += piece;
        total += count;
    } while (count > 0 && asked < size);
    return static_cast<std::ptrdiff_t>(total);
}

HANDLE openwritefile(const char* fileName, int mode, DWORD flags) {
    if (mode < 0 || static_cast<std::size_t>(mode) >= std::size(kWriteModes)) {
        M_ERRTRACE("openwritefile(): unknown mode %d for %s", mode, fileName);
        return INVALID_HANDLE_VALUE;
    }
    const WriteMode& how = kWriteModes[mode];
    return CreateFileA(fileName, how.access, FILE_SHARE_READ, nullptr, how.creation, FILE_ATTRIBUTE_NORMAL | flags,
                       nullptr);
}

std::ptrdiff_t write64(HANDLE file, const void* source, std::size_t size, std::size_t largestPiece,
                       std::size_t* written) {
    std::size_t ownTotal = 0;
    std::size_t& total = written ? *written : ownTotal;
    total = 0;
    std::size_t piece = 0;
    DWORD count = 0;
    do {
        piece = std::min(size - total, largestPiece);
        count = 0;
        const BOOL done =
            WriteFile(file, static_cast<const char*>(source) + total, static_cast<DWORD>(piece), &count, nullptr);
        total += count;
        if (!done) {
            const DWORD error = GetLastError();
            M_ERRTRACE("%s(): WriteFile() failed: %u", "write64", static_cast<unsigned>(error));
            return -1;
        }
    } while (count == piece && total < size);
    return static_cast<std::ptrdiff_t>(total);
}
