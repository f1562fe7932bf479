// Where the lines of the log go: a file that several processes append to, or standard error. One file per system.
// Whatever it is (a pipe that nobody reads, a terminal that is held, a file that a stopped process has locked), a line
// waits no longer than LogPatience grants.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "log_patience.h"

/// Never closed: it is written to until the process ends.
class LogFile {
public:
    LogFile();  // standard error, as it is at each line: it may be redirected
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Appends to that file from now on; it is made when missing.
    /// @param maxBytes  A file of that size is renamed to PATH.1, in the place of the one before, and a new one begun;
    ///                  0: never. All processes that write one file give the same.
    /// @return          false: it cannot be opened, and lines keep going to standard error.
    bool open(const char* path, std::uint64_t maxBytes);

    /// Appends a line, with its line end, in one piece, so that lines of several processes never mix; it is out when
    /// this returns. No signal reaches the program for it.
    /// @return  Lines that are lost (a full disk, a reader that has gone, nobody who reads): 0 or 1; 2 when one that
    ///          was still under way before is lost as well.
    std::size_t write(const char* text, std::size_t length);

    /// The file has twice its size, since it cannot be renamed, and takes nothing more.
    bool isOverfull() const { return _overfull; }

    /// For a child of a fork: the part of a line that its parent has written is the parent's to end.
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

/// Has these run around each fork of the process: before it, and then in parent and child. Linux only: nothing forks
/// on Windows.
void platform_runAroundForks(void (*before)(), void (*inParent)(), void (*inChild)());

/// Keeps the library that this is linked into loaded until the process ends, whoever unloads it. On Linux it does
/// nothing: that library is linked with -z nodelete.
void platform_keepLibraryLoaded();
