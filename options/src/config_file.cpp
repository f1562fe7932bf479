#include "config_file.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <sstream>

#include <CLI/CLI.hpp>

#include "platform.h"

namespace options {
namespace {

constexpr std::size_t kGreatestSize = 1 << 20;

enum class Presence { absent, readable, unreadable };

// std::filesystem would not read names in the encoding in which Windows passes them.
Presence presence(const std::string& path) {
    const HANDLE file =
        CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        CloseHandle(file);
        return Presence::readable;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return Presence::absent;
    // If a folder of the path may not be entered, such as somebody else's home, the user has no file.
    return _access(path.c_str(), 0) != 0 && errno == EACCES ? Presence::absent : Presence::unreadable;
}

// Finds faults that the library's reader would ignore.
std::string problemOf(const std::string& text) {
    if (text.find('\0') != std::string::npos) return "is no text file";
    std::istringstream lines(text);
    int number = 0;
    for (std::string whole; std::getline(lines, whole);) {
        ++number;
        const std::string_view line = trimmed(whole);
        const bool comment = line.starts_with('#') || line.starts_with(';');
        if (!line.empty() && !comment && line.size() < 3)
            return "line " + std::to_string(number) + ": '" + std::string(line) + "' is no key = value";
    }
    return "";
}

// Values are whole lines: no arrays, no nested sections, no comments after them.
CLI::ConfigBase reader() {
    CLI::ConfigBase config;
    config.comment('\x01')->arrayBounds('\x02', '\x03')->arrayDelimiter('\x04')->parentSeparator('\x05');
    return config;
}

// The heads of sections, and each key with its line and no values. A section without keys leaves no entry with the
// library, and a wrong name is to be found all the same; and the library does not tell lines.
std::vector<FileEntry> placesIn(const std::string& text) {
    std::vector<FileEntry> places;
    std::istringstream lines(text);
    std::string section;
    std::size_t number = 0;
    for (std::string whole; std::getline(lines, whole);) {
        ++number;
        const std::string_view line = trimmed(whole);
        if (line.empty() || line.starts_with('#') || line.starts_with(';')) continue;
        const bool isHead = line.starts_with('[') && line.ends_with(']');
        if (isHead) section = line.substr(1, line.size() - 2);
        const std::string key(isHead ? "" : trimmed(line.substr(0, line.find('='))));
        places.push_back({section, key, {}, number});
    }
    return places;
}

// Both are in the order of the file; several lines of one key in a row are one entry.
void setLines(std::vector<FileEntry>& entries, const std::vector<FileEntry>& places) {
    auto next = places.begin();
    for (FileEntry& entry : entries) {
        const auto place = std::find_if(next, places.end(), [&](const FileEntry& one) { return one.key == entry.key; });
        if (place == places.end()) continue;
        entry.line = place->line;
        next = place + static_cast<std::ptrdiff_t>(entry.values.size() > 1 ? entry.values.size() : 1);
    }
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::string readConfigFile(const std::string& path, std::vector<FileEntry>& entries) {
    const Presence found = presence(path);
    if (found == Presence::absent) return "";
    std::ifstream file(path, std::ios::binary);
    if (found == Presence::unreadable || !file) return path + ": is there and cannot be read";
    std::string text(kGreatestSize + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (file.bad()) return path + ": is there and cannot be read";
    if (text.size() > kGreatestSize) return path + ": is larger than 1 MB";
    if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);  // an editor's mark for UTF-8
    if (const std::string problem = problemOf(text); !problem.empty()) return path + ": " + problem;
    std::istringstream lines(text);
    std::vector<FileEntry> keys;
    for (const CLI::ConfigItem& item : reader().from_config(lines)) {
        if (item.name == "++" || item.name == "--") continue;  // the library's marks around a section
        keys.push_back({item.parents.empty() ? "" : item.parents.front(), item.name, item.inputs});
    }
    const std::vector<FileEntry> places = placesIn(text);
    setLines(keys, places);
    std::ranges::copy_if(places, std::back_inserter(entries), [](const FileEntry& place) { return place.key.empty(); });
    entries.insert(entries.end(), keys.begin(), keys.end());
    return "";
}

}  // namespace options
