// Opening files and moving whole blocks, below the buffered classes and the whole-file functions.
#pragma once

#include <cstddef>
#include <new>
#include <stdexcept>

#include "platform.h"

/// The name in the logs of all sources of the buffered classes and the whole-file functions.
inline constexpr char kFile[] = "mfileio/src/fastfile";

/// Opens an existing file for reading, with a handle that children may inherit; others may read and write the file. On
/// failure INVALID_HANDLE_VALUE and the system's error code.
HANDLE openfile(const char* fileName);

/// Opens a file for writing; others may read it.
///
/// @param mode   0 create new, 1 append, 2 truncate; any other number is reported in the error trace.
/// @param flags  Added to the file's attributes.
/// @return       INVALID_HANDLE_VALUE when that fails.
HANDLE openwritefile(const char* fileName, int mode, DWORD flags = 0);

/// The largest count that one system call takes.
inline constexpr std::size_t kLargestTransfer = 4294967295;

/// Reads from a file's current position, in pieces of at most largestPiece bytes; a piece of 0 bytes ends it.
///
/// @return  Bytes read; -1, after an entry in the error trace, when a system call fails.
std::ptrdiff_t read64(HANDLE file, void* target, std::size_t size, std::size_t largestPiece = kLargestTransfer);

/// Writes at a file's current position, in pieces of at most largestPiece bytes; a piece that was not fully written
/// ends it.
///
/// @param written  Receives the number of bytes that reached the file, also when a call failed; may be null.
/// @return         Bytes written; -1, after an entry in the error trace, when a system call fails.
std::ptrdiff_t write64(HANDLE file, const void* source, std::size_t size, std::size_t largestPiece = kLargestTransfer,
                       std::size_t* written = nullptr);

/// Runs a call that fills strings. @return false when memory ran out or a string would have exceeded its greatest
/// length.
template <typename Call>
bool withMemory(Call call) {
    try {
        call();
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
}
