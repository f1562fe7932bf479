// Small operations on files by name. '/' and '\\' both separate folders.
#pragma once

#include <cstdint>

/// The kind of file that has a name. The last part of the name may contain the wildcards * and ?; the first match
/// counts, which for "*" is the folder itself.
///
/// @return  'd' a folder, ' ' a hidden or system file, '-' any other file; -1, after an entry in the error trace, for
///          nothing. A name that ends with a separator counts as nothing. Linux has no hidden files.
int file_type(const char* name);

/// Bytes in a file; 0 for a folder, -1 for nothing (see file_type).
std::int64_t file_size(const char* name);

/// Renames a file; an existing target is replaced.
///
/// @return  1; 0, after an entry in the error trace, on failure. This is the opposite of the C library's rename.
int file_rename(const char* from, const char* to);

/// Removes a file. False for a folder, for a missing file, and when the system refuses.
bool file_unlink(const char* name);

/// Whether a file or folder of that name exists. If it cannot be seen for any reason, it counts as absent.
bool file_access(const char* name);
