// Where the lines of the log go: a file that several processes append to, or standard error. One file per system.
#pragma once

#include <cstddef>

/// Never closed: it is written to until the process ends.
class LogFile {
public:
    LogFile();  // standard error
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Appends to that file from now on; it is made when missing.
    /// @return  false: it cannot be opened, and lines keep going to standard error.
    bool open(const char* path);

    /// Appends the text in one piece, so that lines of several processes never mix; it is out when this returns.
    /// What cannot be written (a full disk) is lost.
    void write(const char* text, std::size_t length);

private:
    void* _handle;  // file handle, or file descriptor
};

/// Keeps this library loaded until the process ends, whoever unloads it.
void keepLogLibraryLoaded();
