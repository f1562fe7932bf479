// Files that a program reads whole. Regular files only: a pipe or a device could block the program, or never end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// Distinguishes versions of a file; not two of the same size within one tick of the file system's clock.
struct FileStamp {
    std::uint64_t bytes = 0;
    std::int64_t written = 0;  // time of the last change, in the system's own units

    bool operator==(const FileStamp&) const = default;
};

/// A file that is open for reading. One thread at a time.
class RegularFile {
public:
    RegularFile() = default;
    ~RegularFile();
    RegularFile(const RegularFile&) = delete;
    RegularFile& operator=(const RegularFile&) = delete;

    /// Opens a file without waiting for anything except its disk. Call it once.
    ///
    /// @param path   In the encoding in which the system gives names.
    /// @param error  Receives the path and the reason: it cannot be opened, is a folder, or is not a regular file.
    bool open(const std::string& path, std::string& error);

    /// Size and time when it was opened.
    const FileStamp& stamp() const { return _stamp; }

    /// Reads the next bytes. @return Their number, less than size only at the end; -1 when they cannot be read.
    std::ptrdiff_t read(void* buffer, std::size_t size);

    /// Reads the rest of the bytes that the file had when it was opened, into a text or a vector of bytes.
    /// @return false when it cannot be read.
    template <typename Bytes>
    bool readAll(Bytes& bytes) {
        bytes.resize(static_cast<std::size_t>(_stamp.bytes));
        const std::ptrdiff_t count = read(bytes.data(), bytes.size());
        bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        return count >= 0;
    }

private:
    std::intptr_t _file = -1;  // the system's own handle; -1: not open
    FileStamp _stamp;
};

/// What a name leads to, determined without waiting for anything except the disk.
struct FileLook {
    bool regular = false;     // both false: a folder, or nothing that can be seen
    bool other = false;       // a pipe or a device
    std::uint64_t bytes = 0;  // of a regular file
};

/// Looks at a name as the calls of platform.h take it: on Linux '\\' separates folders, too.
FileLook platform_lookAtFile(const char* name);
