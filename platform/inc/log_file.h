// Where the log's lines go: a file that several processes append to, or standard error. One source file per system. A
// line never waits longer than LogPatience allows, even for a pipe that nobody reads, a held terminal or a file that a
// stopped process has locked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "log_patience.h"

/// Never closed: the log is written to until the process ends.
class LogFile {
public:
    LogFile();  // standard error, looked up for each line, because it may be redirected
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Appends to that file from now on; creates it when it is missing.
    /// @param maxBytes  A file of this size is renamed to PATH.1, which replaces an older PATH.1, and a new file is
    ///                  started. 0: never. All processes that write one file must pass the same value.
    /// @return          false: it cannot be opened, and lines still go to standard error.
    bool open(const char* path, std::uint64_t maxBytes);

    /// Appends a line, including its line end, in one piece, so that lines of several processes never mix. The line is
    /// written when this returns. It causes no signal in the program.
    /// @return  Number of lost lines (full disk, no reader, a reader that does not read): 0 or 1; 2 when an earlier
    ///          line that was still being written is lost as well.
    std::size_t write(const char* text, std::size_t length);

    /// The file cannot be renamed, has reached twice its size, and accepts nothing more.
    bool isOverfull() const { return _overfull; }

    /// For a child of a fork: if its parent has written part of a line, only the parent completes that line.
    void forgetPart() { _midLine = false; }

    const std::string& path() const { return _path; }  // "": standard error
    std::string olderPath() const { return _path + ".1"; }

private:
    bool isFull() const;
    bool putAside();
    void* successor(LogPatience::Clock::time_point deadline);
    void moveOnTo(void* handle);
    std::size_t writeUntil(const char* text, std::size_t length, LogPatience::Clock::time_point deadline);

    void* _handle;  // file handle, or file descriptor
    std::string _path;
    std::uint64_t _maxBytes = 0;
    bool _midLine = false;  // a line was written in part
    bool _overfull = false;
    LogPatience _patience;
};

/// Runs these functions around each fork of the process: before it, and then in parent and child. Linux only: nothing
/// forks on Windows.
void platform_runAroundForks(void (*before)(), void (*inParent)(), void (*inChild)());

/// Keeps the library that contains this code loaded until the process ends, even if somebody unloads it. Does nothing
/// on Linux, where that library is linked with -z nodelete.
void platform_keepLibraryLoaded();
