// Functions that read and write whole files.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "errtrace.h"
#include "fastfile.h"
#include "fastfile_transfer.h"
#include "fileops.h"

namespace {

using Block = std::unique_ptr<char[]>;

// Null when there is no memory. Allocates at least one byte, because some allocators return null for none.
Block allocate(std::size_t size) {
    if (size > PTRDIFF_MAX) {
        errno = ENOMEM;  // not requested: no allocator has that much, and some end the program
        return nullptr;
    }
    return Block(new (std::nothrow) char[std::max<std::size_t>(size, 1)]);
}

// Turns each CR LF and each single CR into one LF, in place. @return the new length.
std::size_t convertToLf(char* text, std::size_t size) {
    const char* const end = text + size;
    char* target = text;
    for (const char* source = text; source != end; ++source) {
        if (*source == '\r') {
            *target++ = '\n';
            if (end - source > 1 && source[1] == '\n') ++source;
        } else {
            *target++ = *source;
        }
    }
    return static_cast<std::size_t>(target - text);
}

// Turns each LF and each single CR into CR LF; CR LF stays. The target has room for 2 * size bytes. @return bytes
// written.
std::size_t convertToCrLf(const char* text, std::size_t size, char* target) {
    const char* const end = text + size;
    const char* const start = target;
    for (; text != end; ++text) {
        if (*text != '\r' && *text != '\n') {
            *target++ = *text;
            continue;
        }
        if (*text == '\r' && end - text > 1 && text[1] == '\n') ++text;
        *target++ = '\r';
        *target++ = '\n';
    }
    return static_cast<std::size_t>(target - start);
}

// The name of a new, empty file in the folder of fileName; null after a report.
Block makeTemporaryFile(const char* fileName) {
    const std::size_t length = std::strlen(fileName);
    // The system requires room for its longest name, however short ours is.
    Block temporary = allocate(std::max<std::size_t>(length + 12, MAX_PATH));
    const Block folder = allocate(length + 12);
    if (!temporary || !folder) {
        M_ERRTRACE("MFastFile_WriteAtOnce(): malloc() failed");
        return nullptr;
    }
    std::size_t folderLength = length;
    while (folderLength > 0 && fileName[folderLength - 1] != '/' && fileName[folderLength - 1] != '\\') --folderLength;
    if (folderLength > 0) {
        std::copy_n(fileName, folderLength - 1, folder.get());
        folder[folderLength - 1] = '\\';
    } else {
        folder[folderLength++] = '.';  // an empty name would not be the current folder
    }
    folder[folderLength] = '\0';
    if (GetTempFileNameA(folder.get(), "ffw", 0, temporary.get()) != 0) return temporary;
    const DWORD error = GetLastError();
    M_ERRTRACE("MFastFile_WriteAtOnce(): GetTempFileName() failed:%u", static_cast<unsigned>(error));
    return nullptr;
}

// Opens, writes, flushes if requested, closes. False when any step failed.
bool writeFile(const char* fileName, const void* data, std::size_t size, int mode, bool flush) {
    static constexpr char kCaller[] = "MFastFile_WriteAtOnce";
    const HANDLE file = openwritefile(fileName, mode);
    if (file == INVALID_HANDLE_VALUE) {
        M_ERRTRACE("%s(): openwritefile(%s, %d) failed", kCaller, fileName, mode);
        return false;
    }
    bool done = write64(file, data, size) == static_cast<std::ptrdiff_t>(size);
    if (!done) {
        M_ERRTRACE("%s(): write64() failed", kCaller);
    } else if (flush && !FlushFileBuffers(file)) {
        const DWORD error = GetLastError();
        M_ERRTRACE("%s(): FlushFileBuffers() failed: %u", kCaller, static_cast<unsigned>(error));
        done = false;
    }
    if (!CloseHandle(file)) {
        const DWORD error = GetLastError();
        M_ERRTRACE("%s(): CloseHandle() failed: %u", kCaller, static_cast<unsigned>(error));
        done = false;
    }
    return done;
}

}  // namespace

std::ptrdiff_t MFastFile_ReadAtOnce(const char* fileName, void* buffer, std::size_t size) {
    const HANDLE file = openfile(fileName);
    if (file == INVALID_HANDLE_VALUE) {
        M_ERRTRACE("MFastFile_ReadAtOnce(): openfile(\"%s\") failed.", fileName);
        return -1;
    }
    std::ptrdiff_t count = read64(file, buffer, size);
    if (count < 0) M_ERRTRACE("MFastFile_ReadAtOnce(): ReadFile(..,%Iu,..) failed for \"%s\"", size, fileName);
    if (!CloseHandle(file)) {
        const DWORD error = GetLastError();
        M_ERRTRACE("MFastFile_ReadAtOnce(): CloseHandle() failed for \"%s\": %d", fileName, static_cast<int>(error));
        count = -1;
    }
    return count;
}

std::ptrdiff_t MFastFile_ReadAtOnce(const char* fileName, std::string& content) {
    content.clear();
    const std::int64_t size = file_size(fileName);
    if (size < 0) {
        M_ERRTRACE("MFastFile_ReadAtOnce(): file_size(\"%s\") returned %Id", fileName,
                   static_cast<std::ptrdiff_t>(size));
        return -1;
    }
    if (!withMemory([&] { content.resize(static_cast<std::size_t>(size)); })) {
        M_ERRTRACE("MFastFile_ReadAtOnce(): no memory for the %Id bytes of \"%s\"", static_cast<std::ptrdiff_t>(size),
                   fileName);
        return -1;
    }
    const std::ptrdiff_t count = MFastFile_ReadAtOnce(fileName, content.data(), content.size());
    content.resize(count < 0 ? 0 : static_cast<std::size_t>(count));  // the file may have become shorter
    return count;
}

std::ptrdiff_t MFastFile_ReadLinesAtOnce(const char* fileName, char* buffer, std::size_t size) {
    const std::ptrdiff_t count = MFastFile_ReadAtOnce(fileName, buffer, size);
    if (count < 0) return -1;
    return static_cast<std::ptrdiff_t>(convertToLf(buffer, static_cast<std::size_t>(count)));
}

std::ptrdiff_t MFastFile_ReadLinesAtOnce(const char* fileName, std::string& text) {
    if (MFastFile_ReadAtOnce(fileName, text) < 0) return -1;
    text.resize(convertToLf(text.data(), text.size()));
    return static_cast<std::ptrdiff_t>(text.size());
}

std::ptrdiff_t MFastFile_WriteAtOnce(const char* fileName, const void* data, std::size_t size, int mode) {
    const int plainMode = mode & ~MFastFile::kFlush;
    const bool flush = (mode & MFastFile::kFlush) != 0;
    if (plainMode != MFastFile::kSafeReplace)
        return writeFile(fileName, data, size, plainMode, flush) ? static_cast<std::ptrdiff_t>(size) : -1;

    const Block temporary = makeTemporaryFile(fileName);
    if (!temporary) return -1;
    platform_takePermissions(fileName, temporary.get());  // before it contains anything that others must not read
    bool done = writeFile(temporary.get(), data, size, MFastFile::kTruncate, true);
    // kept on purpose: docs/oddities.md, rename-after-failure
    if (!file_rename(temporary.get(), fileName)) {
        M_ERRTRACE("MFastFile_WriteAtOnce(): file_rename(%s,%s) failed: %s", temporary.get(), fileName,
                   std::strerror(errno));
        file_unlink(temporary.get());  // nobody would look for its content
        done = false;
    }
    return done ? static_cast<std::ptrdiff_t>(size) : -1;
}

std::ptrdiff_t MFastFile_WriteLinesAtOnce(const char* fileName, const char* text, std::size_t size, int mode) {
    const std::size_t room = size > SIZE_MAX / 2 ? SIZE_MAX : 2 * size;
    const Block converted = allocate(room);
    if (!converted) {
        M_ERRTRACE("MFastFile_WriteLinesAtOnce(): malloc(%Iu) failed: %.50s", room, std::strerror(errno));
        return -1;
    }
    const std::size_t length = convertToCrLf(text, size, converted.get());
    const std::ptrdiff_t count = MFastFile_WriteAtOnce(fileName, converted.get(), length, mode);
    if (count < 0) {
        M_ERRTRACE("MFastFile_WriteLinesAtOnce(): MFastFile_WriteAtOnce(\"%s\",..,%Iu,%d) failed", fileName, length,
                   mode);
    }
    return count;
}

std::ptrdiff_t MFastFile_CopyFile(const char* from, const char* to, int mode) {
    const std::int64_t size = file_size(from);
    if (size < 0) {
        M_ERRTRACE("MFastFile_CopyFile(): file_size(\"%s\") failed", from);
        return -1;
    }
    const Block content = allocate(static_cast<std::size_t>(size));
    if (!content) {
        M_ERRTRACE("MFastFile_CopyFile(): no memory for the %Id bytes of \"%s\"", static_cast<std::ptrdiff_t>(size),
                   from);
        return -1;
    }
    const std::ptrdiff_t count = MFastFile_ReadAtOnce(from, content.get(), static_cast<std::size_t>(size));
    if (count < 0) {
        M_ERRTRACE("MFastFile_CopyFile(): MFastFile_ReadAtOnce(\"%s\",..,%Id) failed", from,
                   static_cast<std::ptrdiff_t>(size));
        return -1;
    }
    const std::ptrdiff_t written = MFastFile_WriteAtOnce(to, content.get(), static_cast<std::size_t>(count), mode);
    if (written < 0)
        M_ERRTRACE("MFastFile_CopyFile(): MFastFile_WriteAtOnce(\"%s\",..,%Id,%d) failed", to, count, mode);
    return written;
}
