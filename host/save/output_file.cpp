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
            return "another program has it open";
        default:
            return "error " + std::to_string(code);
    }
}

bool fail(const std::string& path, DWORD code, std::string& error) {
    error = path + ": cannot be written: " + reasonOf(code);
    return false;
}

HANDLE createNew(const std::string& path) {
    return CreateFileA(path.c_str(), FILE_WRITE_DATA, FILE_SHARE_READ, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
}

// ERROR_SUCCESS, or why not everything was written.
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

// A file that keeps its old content until the new one is complete, and is never written through a link.
DWORD replaceFile(const std::string& path, const std::uint8_t* bytes, std::size_t size) {
    ReplacementFile file;
    DWORD code = file.open(path);
    if (code == ERROR_SUCCESS) code = writeAll(file.handle(), bytes, size);
    return code == ERROR_SUCCESS ? file.takePlace() : code;
}

DWORD makeFile(const std::string& path, const std::uint8_t* bytes, std::size_t size) {
    const HANDLE file = createNew(path);
    if (file == INVALID_HANDLE_VALUE) return GetLastError();
    DWORD code = writeAll(file, bytes, size);
    if (!CloseHandle(file) && code == ERROR_SUCCESS) code = GetLastError();
    if (code != ERROR_SUCCESS) _unlink(path.c_str());
    return code;
}

}  // namespace

bool writeWholeFile(const std::string& path, const void* data, std::size_t size, ExistingFile existing,
                    std::string& error) {
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    const DWORD code = existing == ExistingFile::refuse ? makeFile(path, bytes, size) : replaceFile(path, bytes, size);
    return code == ERROR_SUCCESS || fail(path, code, error);
}

bool GrowingFile::open(const std::string& path, ExistingFile existing, std::string& error) {
    close();
    _path = path;
    _size = 0;
    DWORD code = ERROR_SUCCESS;
    if (existing == ExistingFile::refuse) {
        _file = createNew(path);
        if (_file == INVALID_HANDLE_VALUE) code = GetLastError();
    } else {
        code = _replacement.open(path);
        if (code == ERROR_SUCCESS) code = _replacement.takePlace();
        if (code == ERROR_SUCCESS) code = _replacement.admitReaders();
        _file = _replacement.handle();
    }
    if (code == ERROR_SUCCESS) return true;
    close();
    return fail(path, code, error);
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
    if (_replacement.handle() != INVALID_HANDLE_VALUE)
        _replacement.close();
    else if (_file != INVALID_HANDLE_VALUE)
        CloseHandle(_file);
    _file = INVALID_HANDLE_VALUE;
}

}  // namespace host
