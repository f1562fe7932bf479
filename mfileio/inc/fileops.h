// Small operations on files by name. '/' and '\\' both separate folders.
#pragma once

#include <cstdint>

/// What a name stands for. The last part of the name may hold the wildcards * and ?; the first match counts, which is
/// the folder itself for "*".
///
/// @return  'd' a folder, ' ' a hidden or system file, '-' any other file; -1, after an entry in the error trace, for
///          nothing, which a name with a separator at its end is as well. Linux knows no hidden files.
int file_type(const char* name);

/// Bytes in a file; 0 for a folder, -1 for nothing (see file_type).
std::int64_t file_size(const char* name);

/// Renames a file; an existing target is replaced.
///
/// @return  1; 0, after an entry in the error trace, on failure. The other way round than the C library's rename.
int file_rename(const char* from, const char* to);

/// Removes a file. False for a folder, for nothing, and where the system refuses it.
bool file_unlink(const char* name);

/// Whether a file or folder of that name exists. Any reason for which it cannot be seen counts as absent.
bool file_access(const char* name);
