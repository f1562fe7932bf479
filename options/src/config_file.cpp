#include "config_file.h"

#include <cerrno>
#include <fstream>
#include <sstream>

#include <CLI/CLI.hpp>

#include "platform.h"

namespace options {
namespace {

constexpr std::size_t kGreatestSize = 1 << 20;

enum class Presence { absent, readable, unreadable };

// Not by std::filesystem, which does not take names in the encoding in which Windows gives them.
Presence presence(const std::string& path) {
    const HANDLE file =
        CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        CloseHandle(file);
        return Presence::readable;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return Presence::absent;
    // Where a folder on the way cannot be entered, such as somebody else's home, the user has no file.
    return _access(path.c_str(), 0) != 0 && errno == EACCES ? Presence::absent : Presence::unreadable;
}

// Anything that the library's reader would pass over in silence.
std::string problemOf(const std::string& text) {
    if (text.find('\0') != std::string::npos) return "is no text file";
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        CLI::detail::trim(line);
        const bool comment = line.starts_with('#') || line.starts_with(';');
        if (!line.empty() && !comment && line.size() < 3)
            return "line " + std::to_string(number) + ": '" + line + "' is no key = value";
    }
    return "";
}

// Values are whole lines: no arrays, no nested sections, no comments behind them.
CLI::ConfigBase reader() {
    CLI::ConfigBase config;
    config.comment('\x01')->arrayBounds('\x02', '\x03')->arrayDelimiter('\x04')->parentSeparator('\x05');
    return config;
}

// A section without keys leaves no entry with the library, and a wrong name is to be found all the same.
void addHeads(const std::string& text, std::vector<FileEntry>& entries) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        CLI::detail::trim(line);
        if (line.starts_with('[') && line.ends_with(']')) entries.push_back({line.substr(1, line.size() - 2), "", {}});
    }
}

}  // namespace

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
    addHeads(text, entries);
    std::istringstream lines(text);
    for (const CLI::ConfigItem& item : reader().from_config(lines)) {
        if (item.name == "++" || item.name == "--") continue;  // the library's marks around a section
        entries.push_back({item.parents.empty() ? "" : item.parents.front(), item.name, item.inputs});
    }
    return "";
}

}  // namespace options
