// Opening and moving of whole blocks under the buffered classes and the whole-file functions.
#pragma once

#include <cstddef>
#include <new>
#include <stdexcept>

#include "platform.h"

/// What the sources of the buffered classes and the whole-file functions call themselves in the logs.
inline constexpr char kFile[] = "mfileio/src/fastfile";

/// Opens an existing file for reading, with a handle that children may inherit; others may read and write the file.
/// INVALID_HANDLE_VALUE and the system's error code when that fails.
HANDLE openfile(const char* fileName);

/// Opens a file for writing; others may read it.
///
/// @param mode   0 create new, 1 append, 2 truncate; anything else is reported in the error trace.
/// @param flags  Added to the file's attributes.
/// @return       INVALID_HANDLE_VALUE when that fails.
HANDLE openwritefile(const char* fileName, int mode, DWORD flags = 0);

/// The largest count that one system call takes.
inline constexpr std::size_t kLargestTransfer = 4294967295;

/// Reads from a file's current position, in pieces of at most largestPiece bytes; ends early with a piece of 0 bytes.
///
/// @return  Bytes read; -1, after an entry in the error trace, when a system call fails.
std::ptrdiff_t read64(HANDLE file, void* target, std::size_t size, std::size_t largestPiece = kLargestTransfer);

/// Writes at a file's current position, in pieces of at most largestPiece bytes; ends early with a piece that was not
/// written whole.
///
/// @param written  Receives the bytes that the file got, also when a call failed; may be null.
/// @return         Bytes written; -1, after an entry in the error trace, when a system call fails.
std::ptrdiff_t write64(HANDLE file, const void* source, std::size_t size, std::size_t largestPiece = kLargestTransfer,
                       std::size_t* written = nullptr);

/// Lets a call fill strings. @return false when memory ran out, or a string would have been longer than strings get.
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
