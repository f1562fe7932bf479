#include "output_file.h"

#include <algorithm>
#include <cstdint>

namespace host {
namespace {

constexpr std::size_t kMaxPiece = std::size_t{1} << 30;  // of one call: its size has 32 bits

std::string reasonOf(DWORD code) {
    switch (code) {
        case ERROR_FILE_EXISTS:
            return "it exists already; --force replaces it";
        case ERROR_DISK_FULL:
            return "the disk is full";
        case ERROR_ACCESS_DENIED:
            return "access is denied, or a folder has that name";
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return "there is no such folder";
        case ERROR_SHARING_VIOLATION:
            return "another program is writing it";
        default:
            return "error " + std::to_string(code);
    }
}

bool fail(const std::string& path, DWORD code, std::string& error) {
    error = path + ": cannot be written: " + reasonOf(code);
    return false;
}

HANDLE create(const std::string& path, ExistingFile existing) {
    return CreateFileA(path.c_str(), FILE_WRITE_DATA, FILE_SHARE_READ, nullptr,
                       existing == ExistingFile::refuse ? CREATE_NEW : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// ERROR_SUCCESS, or why not all was written.
DWORD writeAll(HANDLE file, const std::uint8_t* bytes, std::size_t size) {
    while (size > 0) {
        DWORD written = 0;
        if (!WriteFile(file, bytes, static_cast<DWORD>(std::min(size, kMaxPiece)), &written, nullptr))
            return GetLastError();
        if (written == 0) return ERROR_DISK_FULL;
        bytes += written;
        size -= written;
    }
    return ERROR_SUCCESS;
}

}  // namespace

bool writeWholeFile(const std::string& path, const void* data, std::size_t size, ExistingFile existing,
                    std::string& error) {
    const std::string made = existing == ExistingFile::refuse ? path : path + ".part";
    const HANDLE file = create(made, existing);
    if (file == INVALID_HANDLE_VALUE) return fail(path, GetLastError(), error);
    DWORD code = writeAll(file, static_cast<const std::uint8_t*>(data), size);
    if (!CloseHandle(file) && code == ERROR_SUCCESS) code = GetLastError();
    if (code == ERROR_SUCCESS && made != path && !MoveFileExA(made.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING))
        code = GetLastError();
    if (code == ERROR_SUCCESS) return true;
    _unlink(made.c_str());
    return fail(path, code, error);
}

bool GrowingFile::open(const std::string& path, ExistingFile existing, std::string& error) {
    close();
    _path = path;
    _size = 0;
    _file = create(path, existing);
    return _file != INVALID_HANDLE_VALUE || fail(path, GetLastError(), error);
}

bool GrowingFile::append(const std::string& piece, std::string& error) {
    const DWORD code = writeAll(_file, reinterpret_cast<const std::uint8_t*>(piece.data()), piece.size());
    if (code == ERROR_SUCCESS) {
        _size += static_cast<std::int64_t>(piece.size());
        return true;
    }
    LARGE_INTEGER end{};
    end.QuadPart = _size;
    if (SetFilePointerEx(_file, end, nullptr, FILE_BEGIN)) SetEndOfFile(_file);
    return fail(_path, code, error);
}

void GrowingFile::close() {
    if (_file != INVALID_HANDLE_VALUE) CloseHandle(_file);
    _file = INVALID_HANDLE_VALUE;
}

}  // namespace host
