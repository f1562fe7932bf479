#include <algorithm>

#include "platform.h"
#include "regular_file.h"

namespace {

constexpr std::size_t kGreatestRead = std::size_t{1} << 30;

HANDLE handleOf(std::intptr_t file) { return reinterpret_cast<HANDLE>(file); }

bool isFolder(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

RegularFile::~RegularFile() {
    if (_file != -1) CloseHandle(handleOf(_file));
}

bool RegularFile::open(const std::string& path, std::string& error) {
    if (isFolder(path)) {
        error = path + ": is a folder";
        return false;
    }
    // Others may write, rename or remove it in the meantime.
    _file = reinterpret_cast<std::intptr_t>(CreateFileA(path.c_str(), GENERIC_READ,
                                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                        OPEN_EXISTING, 0, nullptr));
    LARGE_INTEGER size{};
    FILETIME written{};
    if (_file == -1) {
        error = path + ": cannot be opened for reading";
    } else if (GetFileType(handleOf(_file)) != FILE_TYPE_DISK) {
        error = path + ": is no regular file";
    } else if (!GetFileSizeEx(handleOf(_file), &size) || !GetFileTime(handleOf(_file), nullptr, nullptr, &written)) {
        error = path + ": cannot be opened for reading";
    } else {
        _stamp.bytes = static_cast<std::uint64_t>(size.QuadPart);
        _stamp.written = std::int64_t{written.dwHighDateTime} << 32 | written.dwLowDateTime;
        return true;
    }
    return false;
}

std::ptrdiff_t RegularFile::read(void* buffer, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const auto wanted = static_cast<DWORD>(std::min(size - done, kGreatestRead));
        DWORD count = 0;
        if (!ReadFile(handleOf(_file), static_cast<char*>(buffer) + done, wanted, &count, nullptr)) return -1;
        if (count == 0) break;
        done += count;
    }
    return static_cast<std::ptrdiff_t>(done);
}

FileLook platform_lookAtFile(const char* name) {
    if (isFolder(name)) return {};
    // Opened for its attributes only, so that a locked file and a write-only pipe are seen as well.
    const HANDLE file = CreateFileA(name, FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return {false, GetLastError() == ERROR_PIPE_BUSY, 0};
    FileLook look;
    LARGE_INTEGER size{};
    look.other = GetFileType(file) != FILE_TYPE_DISK;
    look.regular = !look.other && GetFileSizeEx(file, &size);
    look.bytes = static_cast<std::uint64_t>(size.QuadPart);
    CloseHandle(file);
    return look;
}
