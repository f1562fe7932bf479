// The user's configuration file, as it stands: sections, keys and values, not yet compared with any option.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace options {

/// A text without blanks, tabs and line ends at its start and end.
std::string_view trimmed(std::string_view text);

struct FileEntry {
    std::string section;              // empty: above all sections
    std::string key;                  // empty: the section's head itself
    std::vector<std::string> values;  // several where the key stands on several lines one after the other
    std::size_t line = 0;             // from 1
};

/// Lines "key = value", or a key alone for a flag that is true; "[section]"; comments are lines that begin with # or ;.
/// A value is the rest of its line without the blanks around it; quotes around the whole are taken off.
///
/// @param entries  Receives the content of the file, in its order; nothing when there is no such file, or when the user
///                 may not enter its folder.
/// @return         The reason when a file exists but cannot be read or is no such file; otherwise empty.
std::string readConfigFile(const std::string& path, std::vector<FileEntry>& entries);

}  // namespace options
