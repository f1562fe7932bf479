#include "log_file.h"
#include "platform.h"

namespace {

// One byte far behind every text: who holds it may append. Needed under Wine, which looks for the end of the file and
// writes in two steps.
constexpr DWORD kGuardOffsetHigh = 0x40000000;

OVERLAPPED guardPosition() {
    OVERLAPPED position{};
    position.OffsetHigh = kGuardOffsetHigh;
    return position;
}

}  // namespace

LogFile::LogFile() : _handle(GetStdHandle(STD_ERROR_HANDLE)) {}

bool LogFile::open(const char* path) {
    // The right to append and no other makes each write go to the end of the file as it is then.
    const HANDLE file =
        CreateFileA(path, FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    _handle = file;
    return true;
}

void LogFile::write(const char* text, std::size_t length) {
    OVERLAPPED guard = guardPosition();
    // What cannot be locked, such as a console or a pipe, takes the text in one step anyway.
    const BOOL guarded = LockFileEx(_handle, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &guard);
    DWORD written = 0;
    WriteFile(_handle, text, static_cast<DWORD>(length), &written, nullptr);
    if (guarded) UnlockFileEx(_handle, 0, 1, 0, &guard);
}

void keepLogLibraryLoaded() {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCSTR>(&keepLogLibraryLoaded), &module);
}
