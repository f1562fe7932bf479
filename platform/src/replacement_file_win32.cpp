#include <algorithm>
#include <cstring>
#include <vector>

#include "replacement_file.h"

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// A name that nobody can guess: 122 random bits. Empty when the system has none.
std::string unguessableName() {
    UUID uuid{};
    RPC_CSTR text = nullptr;
    if (UuidCreate(&uuid) != RPC_S_OK || UuidToStringA(&uuid, &text) != RPC_S_OK) return {};
    std::string name = ".dorven-" + std::string(reinterpret_cast<const char*>(text)) + ".part";
    RpcStringFreeA(&text);
    return name;
}

// A full path in the system's characters.
std::wstring fullPath(const std::string& path) {
    const auto size = static_cast<int>(path.size() + 1);
    std::wstring wide(path.size() + 1, L'\0');
    if (MultiByteToWideChar(CP_ACP, 0, path.c_str(), size, wide.data(), size) == 0) return {};
    std::wstring full(GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr), L'\0');
    const DWORD length = GetFullPathNameW(wide.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    full.resize(std::min<std::size_t>(length, full.size()));
    return full;
}

// Why the file in the place may not be replaced, or success. It is opened as a writer would open it; links are not
// followed.
DWORD errorOfPlace(const std::string& place) {
    const DWORD attributes = GetFileAttributesA(place.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return ERROR_SUCCESS;
    if ((attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0) return ERROR_ACCESS_DENIED;
    const HANDLE there = CreateFileA(place.c_str(), FILE_WRITE_DATA, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                     OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (there == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : GetLastError();
    CloseHandle(there);
    return ERROR_SUCCESS;
}

// By handle: if another file has this file's name by now, that file is left alone.
DWORD renameTo(HANDLE file, const std::wstring& path) {
    const std::size_t nameBytes = path.size() * sizeof(wchar_t);
    std::vector<std::uint64_t> memory((sizeof(FILE_RENAME_INFO) + nameBytes) / sizeof(std::uint64_t) + 1);
    auto* const information = reinterpret_cast<FILE_RENAME_INFO*>(memory.data());
    information->ReplaceIfExists = TRUE;
    information->FileNameLength = static_cast<DWORD>(nameBytes);
    std::memcpy(information->FileName, path.data(), nameBytes);
    const auto size = static_cast<DWORD>(memory.size() * sizeof(std::uint64_t));
    return SetFileInformationByHandle(file, FileRenameInfo, information, size) ? ERROR_SUCCESS : GetLastError();
}

// Why a writable file could not be replaced: the system also reports "denied" when somebody has the file open without
// permitting removal.
DWORD errorOfRemoval(const std::string& place) {
    const HANDLE there = CreateFileA(place.c_str(), DELETE | SYNCHRONIZE, kShareAll, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (there == INVALID_HANDLE_VALUE) return GetLastError();
    CloseHandle(there);
    return ERROR_ACCESS_DENIED;
}

}  // namespace

ReplacementFile::~ReplacementFile() { close(); }

DWORD ReplacementFile::open(const std::string& place) {
    close();
    _place = place;
    const std::size_t separator = place.find_last_of("\\/:");
    const std::string name = unguessableName();
    if (name.empty()) return ERROR_GEN_FAILURE;
    _made = (separator == std::string::npos ? "" : place.substr(0, separator + 1)) + name;
    _file = CreateFileA(_made.c_str(), FILE_WRITE_DATA | DELETE | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                        nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    return _file != INVALID_HANDLE_VALUE ? ERROR_SUCCESS : GetLastError();
}

DWORD ReplacementFile::takePlace() {
    if (const DWORD error = errorOfPlace(_place); error != ERROR_SUCCESS) return error;
    const std::wstring path = fullPath(_place);
    if (path.empty()) return ERROR_INVALID_NAME;
    const DWORD error = renameTo(_file, path);
    _placed = error == ERROR_SUCCESS;
    return error == ERROR_ACCESS_DENIED ? errorOfRemoval(_place) : error;
}

DWORD ReplacementFile::admitReaders() {
    if (!_placed) return ERROR_INVALID_HANDLE;
    LARGE_INTEGER position{};
    SetFilePointerEx(_file, position, &position, FILE_CURRENT);
    // From handle to handle: if another file has this file's name by now, that file is left alone. The handle in
    // between neither reads nor writes, so it blocks nobody.
    const HANDLE held = ReOpenFile(_file, FILE_READ_ATTRIBUTES | SYNCHRONIZE, kShareAll, 0);
    if (held == INVALID_HANDLE_VALUE) return GetLastError();
    CloseHandle(_file);
    _file = ReOpenFile(held, FILE_WRITE_DATA | SYNCHRONIZE, FILE_SHARE_READ, 0);
    const DWORD error = _file != INVALID_HANDLE_VALUE ? ERROR_SUCCESS : GetLastError();
    CloseHandle(held);
    if (error != ERROR_SUCCESS) return error;
    return SetFilePointerEx(_file, position, nullptr, FILE_BEGIN) ? ERROR_SUCCESS : GetLastError();
}

void ReplacementFile::close() {
    if (_file != INVALID_HANDLE_VALUE) {
        FILE_DISPOSITION_INFO removal{};
        removal.DeleteFile = TRUE;
        if (!_placed) SetFileInformationByHandle(_file, FileDispositionInfo, &removal, sizeof removal);
        CloseHandle(_file);
    }
    _file = INVALID_HANDLE_VALUE;
    _placed = false;
}
