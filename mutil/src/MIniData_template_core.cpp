// Ini data as a whole: construction, content strings, finding sections and entries.
#include <string>
#include <string_view>
#include <vector>

#include "MIniData_parts.h"
#include "errtrace.h"

IniData::MIniDataT(const char* fileName) {
    if (!Open(fileName)) M_ERRTRACE("MIniData::MIniData(): Open(\"%.60s\") failed", fileName);
}

IniData::MIniDataT(const IniData& other) { *this = other; }

IniData& IniData::operator=(const IniData& other) {
    if (this == &other) return *this;
    _fileName = other._fileName;
    _options = other._options;
    _lastError = other._lastError;
    const bool copied = SetContentString(other.GetContentString()) && !_lineDropped;
    _holdsWholeFile = copied && other._holdsWholeFile;
    _open = other._open;
    _fileAbsent = other._fileAbsent;
    _unchanged = other._unchanged;
    return *this;
}

IniData::~MIniDataT() {
    if (!Close()) M_ERRTRACE("MIniData::~MIniData(): Close() failed");
}

bool IniData::Close() {
    freeContent();
    _fileName.clear();
    _open = false;
    _fileAbsent = true;
    return true;
}

void IniData::freeContent() {
    _topLines.clear();
    _sections.clear();
    _currentSection = nullptr;
    _replacedLines.clear();
    _fixedLines.clear();
    _holdsWholeFile = false;
    _lineDropped = false;
}

std::string IniData::GetContentString() const {
    std::size_t size = 0;
    const auto forEachLine = [this](const auto& use) {
        for (const auto& line : _topLines) use(line->text);
        for (const auto& [name, section] : _sections) {
            use(section->text);
            for (const auto& line : section->line_vec) use(line->text);
        }
    };
    forEachLine([&size](const std::string& line) { size += line.size() + 1; });
    std::string content;
    content.reserve(size);
    forEachLine([&content](const std::string& line) { content.append(line).push_back('\n'); });
    return content;
}

IniSection* IniData::find_section(std::string_view name) const {
    const auto found = _sections.find(name);
    return found == _sections.end() ? nullptr : found->second.get();
}

bool IniData::GetStringEntry(const char* section, const char* entry, std::string& value) const {
    const IniSection* const found = find_section(section);
    return found && found->GetStringEntry(entry, value);
}

bool IniData::GetLongEntry(const char* section, const char* entry, std::int32_t& value) const {
    const IniSection* const found = find_section(section);
    return found && found->GetLongEntry(entry, value);
}

bool IniData::GetLongLongEntry(const char* section, const char* entry, std::int64_t& value) const {
    const IniSection* const found = find_section(section);
    return found && found->GetLongLongEntry(entry, value);
}

bool IniData::GetDoubleEntry(const char* section, const char* entry, double& value) const {
    const IniSection* const found = find_section(section);
    return found && found->GetDoubleEntry(entry, value);
}

bool IniData::SectionExists(const char* section) const { return find_section(section) != nullptr; }

bool IniData::EntryExists(const char* section, const char* entry) const {
    const IniSection* const found = find_section(section);
    return found && found->entry_map.contains(std::string_view(entry));
}

std::vector<std::string> IniData::GetSectionNames() const {
    std::vector<std::string> names;
    names.reserve(_sections.size());
    for (const auto& [name, section] : _sections) names.push_back(name);
    return names;
}

std::vector<std::string> IniData::GetEntryNames(const char* section) const {
    std::vector<std::string> names;
    if (const IniSection* const found = find_section(section)) {
        names.reserve(found->entry_map.size());
        for (const auto& [name, entry] : found->entry_map) names.push_back(name);
    }
    return names;
}
