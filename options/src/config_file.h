// The user's configuration file as written: sections, keys and values, not yet compared with any option.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace options {

/// A text without blanks, tabs and line ends at its start and end.
std::string_view trimmed(std::string_view text);

struct FileEntry {
    std::string section;              // empty: above all sections
    std::string key;                  // empty: the section's header itself
    std::vector<std::string> values;  // several if the key is on consecutive lines
};

/// Lines "key = value", or only a key for a flag that is true; "[section]"; comments are lines that begin with # or ;.
/// A value is the rest of its line without surrounding blanks; quotes around the whole value are removed.
///
/// @param entries  Receives the content of the file, in its order; nothing when there is no such file, or when the user
///                 may not enter its folder.
/// @return         The reason when a file exists but cannot be read or is no such file; otherwise empty.
std::string readConfigFile(const std::string& path, std::vector<FileEntry>& entries);

}  // namespace options
