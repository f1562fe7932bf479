// The private folder that holds the files of this process's named objects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/stat.h>

#include "platform.h"

/// Bytes of the longest name: 259 characters of up to three bytes each.
constexpr std::size_t kLongestNameBytes = std::size_t{3} * (MAX_PATH - 1);

/// File name for an object's name: percent-encoded, with "Local\X" as "X". A name that is too long for a file is cut
/// and ends with a hash; the object then stores its full name. Empty, with the last error, for an invalid name: 3 for a
/// backslash anywhere except after "Local" or "Global", 161 for a backslash at the start, 123 for nothing after these
/// prefixes, 206 for more than 259 characters (UTF-16 units, prefix included).
std::string ObjectFolder_FileName(const char* name);

/// The full name to store in the object if the file name has a hash; empty when the file name is complete.
std::string ObjectFolder_FullName(const char* name, const std::string& fileName);

/// Name of the folder in this user's folder of all name spaces (object_parent_posix.h).
std::string ObjectFolder_Space();

/// Descriptor of the folder, which is created and swept at the first use; stays open. -1, with the last error, when the
/// folder cannot be created or does not belong to this user alone.
int ObjectFolder_Descriptor();

/// True if the open folder has no name any more: it was removed while nobody held anything in it.
bool ObjectFolder_WasRemoved(int folder);

/// Recreates the folder if it was removed while this process used it. False where ObjectFolder_Descriptor returns -1.
bool ObjectFolder_Renew();

/// True if the file with that name in the folder is still the open one. The caller holds the guard.
///
/// @param opened     fstat of the open file, at any time since it was opened: its inode does not change.
/// @param fileBytes  Receives the current size of the file with that name.
bool ObjectFolder_IsUnderName(int folder, const struct stat& opened, const std::string& fileName,
                              std::uint64_t& fileBytes);
bool ObjectFolder_IsUnderName(int folder, int descriptor, const std::string& fileName);
