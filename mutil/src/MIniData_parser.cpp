// Parses a text as ini data: which lines are accepted, as what, and why others are refused.
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "MIniData_parts.h"
#include "errtrace.h"
#include "format_string.h"

bool IniData::SetContentString(const std::string& text) {
    freeContent();
    _unchanged = false;
    _open = false;
    const ReplacedLinesGone replacedLinesGone(*this);
    std::size_t feed = text.find('\n');
    for (std::size_t begin = 0; begin < text.size();) {
        if (feed < begin) feed = text.find('\n', begin);
        std::string_view line = std::string_view(text).substr(begin, feed - begin);
        line = line.substr(0, line.find('\r'));
        if (!parse_line(line)) {
            M_ERRTRACE("MIniData::SetContentString(): parse_line() failed");
            return false;
        }
        const std::size_t end = begin + line.size();
        begin = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
    }
    _open = true;
    return true;
}

bool IniData::parse_line(std::string_view line) {
    const std::size_t begin = line.find_first_not_of(kBlanks);
    const bool blank = begin == std::string_view::npos;
    if (!blank && line.front() == '[') return parseHeader(line);
    if (blank || beginsComment(line[begin])) {
        MIniDataLines& lines = _currentSection ? _currentSection->line_vec : _topLines;
        lines.push_back(std::make_unique<MIniDataLine>(std::string(line)));
        return true;
    }
    if (!_currentSection) {
        return refuse(M_HERE, "Possible entry \"%s\" found before first section", std::string(line).c_str());
    }
    return parseEntry(line, begin);
}

bool IniData::parseHeader(std::string_view line) {
    const std::size_t close = line.find(']');
    if (close == std::string_view::npos) {
        return refuse(M_HERE, "no matching ']' found in \"%.50s\"", std::string(line).c_str());
    }
    dropReplacedLines();
    std::string name(line.substr(1, close - 1));
    if (find_section(name)) {
        _lineDropped = true;
        if (!(_options & kReplaceSections)) return refuse(M_HERE, "Section [%s] seen twice", name.c_str());
        // A name that contains a byte 0 would, as a zero-terminated text, be that of another section.
        if (name.find('\0') != std::string::npos || !DeleteSection(name.c_str())) {
            M_ERRTRACE("MIniData::parse_line(): DeleteSection() failed");
            return refuse(M_HERE, "Section [%s] deleting previous version failed", name.c_str());
        }
    }
    std::unique_ptr<Section> section(new (std::nothrow) Section(std::string(line)));
    if (!section) {
        const char* const reason = std::strerror(errno);
        M_ERRTRACE("MIniData::parse_line(): new MIniDataSectionT() failed: %.50s", reason);
        return refuse(M_HERE, "out of memory (%s)", reason);
    }
    _fixedLines.clear();
    _currentSection = _sections.emplace(std::move(name), std::move(section)).first->second.get();
    return true;
}

bool IniData::parseEntry(std::string_view line, std::size_t nameBegin) {
    Section& section = *_currentSection;
    const std::size_t equals = line.find('=', nameBegin);
    const bool bare = equals == std::string_view::npos;
    if (!(_options & (kAcceptBareLines | kReplaceSections))) {
        if (bare) {
            return refuse(M_HERE, "No '=' found in \"%.50s\" in section %s", std::string(line).c_str(),
                          section.text.c_str());
        }
        if (equals == nameBegin) {
            return refuse(M_HERE, "No entry name found before '=' in \"%s\" in section %s", std::string(line).c_str(),
                          section.text.c_str());
        }
    }
    const std::string_view name = entryName(line, nameBegin, equals);
    auto place = section.entry_map.lower_bound(name);
    if (place != section.entry_map.end() && !section.entry_map.key_comp()(name, place->first)) {
        const std::string ownName(name);
        _lineDropped = true;
        if (!(_options & kReplaceEntries)) {
            return refuse(M_HERE, "Entry \"%s\" seen twice in section %s", ownName.c_str(), section.text.c_str());
        }
        if (!replaceEntry(place, name)) {
            M_ERRTRACE("MIniData::parse_line(): DeleteEntry() failed");
            return refuse(M_HERE, "Entry \"%s\" deleting previous version failed", ownName.c_str());
        }
        place = section.entry_map.lower_bound(name);
    }
    std::unique_ptr<MIniDataEntry> entry(new (std::nothrow) MIniDataEntry(std::string(line), bare ? 0 : equals + 1));
    if (!entry) {
        const char* const reason = std::strerror(errno);
        M_ERRTRACE("MIniData::parse_line(): new MIniDataEntry() failed: %.50s", reason);
        return refuse(M_HERE, "out of memory (%s)", reason);
    }
    if ((_options & kReplaceEntries) && (bare || equals == nameBegin || !_fixedLines.empty()))
        _fixedLines.insert(entry.get());
    section.append(place, name, std::move(entry));
    return true;
}

// Does what the section's DeleteEntry does with an entry that was read before, without searching for its line each
// time: at most one of the lines read has that name, and it is found unless a line without a name is above it.
bool IniData::replaceEntry(Section::EntryMap::iterator earlier, std::string_view name) {
    Section& section = *_currentSection;
    if (_fixedLines.contains(earlier->second)) {
        dropReplacedLines();
        return section.DeleteEntry(name);  // fails, and reports why
    }
    _replacedLines.insert(earlier->second);
    section.entry_map.erase(earlier);
    if (_replacedLines.size() > section.line_vec.size() / 2) dropReplacedLines();
    return true;
}

void IniData::dropReplacedLines() {
    if (_replacedLines.empty()) return;
    std::erase_if(_currentSection->line_vec, [this](const auto& line) { return _replacedLines.contains(line.get()); });
    _replacedLines.clear();
}

// Stores why a line is refused and reports it from the given line of this file. Always false.
bool IniData::refuse(int codeLine, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text;
    formatString(text, format, arguments);
    va_end(arguments);
    _lastError.assign(text, 0, kLastErrorSize - 1);
    _MErrTrace_Location(0, kFile, codeLine);
    _MErrTrace_Add("MIniData::parse_line(): %.70s", text.c_str());
    return false;
}
