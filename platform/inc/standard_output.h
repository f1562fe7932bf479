// Standard output for bytes that another program reads, as they are.
#pragma once

#include <cstddef>

enum class StandardOutputWrite {
    done,
    readerGone,  // the program that read has ended, or has closed its end
    stopped,     // a stop was requested (platform_installStopHandler), and the reader takes nothing any more
    failed,      // GetLastError says why
};

/// Writes all bytes: no line end is changed, and a slow reader is waited for. One thread. What the C and C++ libraries
/// have buffered for standard output does not come before. On Windows a reader that takes nothing is also waited for
/// when a stop was requested.
StandardOutputWrite platform_writeStandardOutput(const void* bytes, std::size_t size);

/// False once nobody will ever read what is written to standard output. On Windows that shows only in a write.
bool platform_standardOutputHasReader();
