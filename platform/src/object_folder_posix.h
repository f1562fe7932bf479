// The private folder that holds the files of this process's named objects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/stat.h>

#include "platform.h"

/// Bytes of the longest name: 259 characters of up to three bytes each.
constexpr std::size_t kLongestNameBytes = std::size_t{3} * (MAX_PATH - 1);

/// File name for an object's name: percent-encoded, "Local\X" as "X". One that would be longer than a file's name can
/// be is cut and ends with a hash: then the object tells its full name. Empty, with the last error, for a name that
/// cannot be: 3 with a backslash elsewhere than behind "Local" or "Global", 161 in front, 123 nothing behind these, 206
/// for more than 259 characters (UTF-16 units, prefix included).
std::string ObjectFolder_FileName(const char* name);

/// What the object of a file name with a hash tells as its full name; empty when the file name tells all.
std::string ObjectFolder_FullName(const char* name, const std::string& fileName);

/// Name of the folder in this user's folder of all name spaces (object_parent_posix.h).
std::string ObjectFolder_Space();

/// Descriptor of the folder, made and swept at the first use; stays open. -1, with the last error, when the folder
/// cannot be made or is not this user's alone.
int ObjectFolder_Descriptor();

/// True if the open folder is under no name any more: swept while nobody held anything in it.
bool ObjectFolder_WasRemoved(int folder);

/// Makes the folder anew if it was removed under this process. False as ObjectFolder_Descriptor gives -1.
bool ObjectFolder_Renew();

/// True if the file under that name in the folder is still the one that is open. The guard is held.
///
/// @param opened     fstat of the open file, of any time since it was opened: its inode does not change.
/// @param fileBytes  Size of the file under the name, as it is now.
bool ObjectFolder_IsUnderName(int folder, const struct stat& opened, const std::string& fileName,
                              std::uint64_t& fileBytes);
bool ObjectFolder_IsUnderName(int folder, int descriptor, const std::string& fileName);
