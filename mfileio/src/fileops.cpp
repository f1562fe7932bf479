#include "fileops.h"

#include <cerrno>
#include <cstring>

#include "errtrace.h"
#include "platform.h"

namespace {

const char kFile[] = "mfileio/src/fileops";

}  // namespace

int file_type(const char* name) {
    _finddata_t found{};
    const std::intptr_t search = _findfirst(name, &found);
    if (search == -1) {
        const int error = errno;
        M_ERRTRACE("%s(): _findfirst(\"%s\") failed: %s", "file_type", name, std::strerror(error));
        return -1;
    }
    _findclose(search);
    if (found.attrib & _A_SUBDIR) return 'd';
    // kept on purpose: docs/oddities.md, hidden-file-letter
    if (found.attrib & (_A_HIDDEN | _A_SYSTEM)) return ' ';
    return '-';
}

std::int64_t file_size(const char* name) {
    const int type = file_type(name);
    if (type < 0) return -1;
    if (type == 'd') return 0;
    struct __stat64 status {};
    return _stat64(name, &status) == 0 ? status.st_size : -1;
}

int file_rename(const char* from, const char* to) {
    if (MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING)) return 1;
    const DWORD error = GetLastError();
    M_ERRTRACE("file_rename(): MoveFileEx(%s,%s) failed: %u", from, to, static_cast<unsigned>(error));
    return 0;
}

bool file_unlink(const char* name) { return _unlink(name) == 0; }

bool file_access(const char* name) { return _access(name, 0) == 0; }
