#include "MIniData_template_core.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>

#include "errtrace.h"
#include "fastfile.h"
#include "fileops.h"

namespace {

const char kFile[] = "mutil/src/MIniData_template_core";

constexpr std::size_t kLastErrorSize = 1024;
constexpr std::size_t kUsualLinesPerSection = 10;

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kCommentMarks = "#*/;";  // all four kept on purpose: files use each of them

std::string_view withoutTrailingBlanks(std::string_view text) {
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

bool beginsComment(char firstVisible) { return kCommentMarks.find(firstVisible) != std::string_view::npos; }

// The name of an entry's line: from its first visible character up to '=', or to the end without one.
std::string_view entryName(std::string_view line, std::size_t nameBegin, std::size_t equals) {
    return withoutTrailingBlanks(line.substr(nameBegin, equals - nameBegin));
}

// Assigns what the value begins with, also when that is no number: callers rely on the 0.
template <typename Value, typename Convert>
bool getNumber(const MIniDataEntry* entry, Value& value, Convert convert) {
    if (!entry) return false;
    char* end = nullptr;
    value = convert(entry->value(), &end);
    return end != entry->value();
}

}  // namespace

// ------------------------------------------------------------------------------------------------------------- section

template <typename Compare>
MIniDataSectionT<Compare>::MIniDataSectionT(std::string headerText) : MIniDataLine(std::move(headerText)) {
    line_vec.reserve(kUsualLinesPerSection);
}

template <typename Compare>
const MIniDataEntry* MIniDataSectionT<Compare>::find_entry(std::string_view name) const {
    const auto found = entry_map.find(withoutTrailingBlanks(name));
    return found == entry_map.end() ? nullptr : found->second;
}

template <typename Compare>
bool MIniDataSectionT<Compare>::GetStringEntry(std::string_view name, std::string& value) const {
    const MIniDataEntry* const entry = find_entry(name);
    if (!entry) return false;
    value.assign(entry->text, entry->valuePosition);
    return true;
}

template <typename Compare>
bool MIniDataSectionT<Compare>::GetLongEntry(std::string_view name, std::int32_t& value) const {
    return getNumber(find_entry(name), value, [](const char* digits, char** end) {
        const long number = std::strtol(digits, end, 10);  // 64 bits on some systems
        return static_cast<std::int32_t>(std::clamp<long>(number, INT32_MIN, INT32_MAX));
    });
}

template <typename Compare>
bool MIniDataSectionT<Compare>::GetLongLongEntry(std::string_view name, std::int64_t& value) const {
    return getNumber(find_entry(name), value, [](const char* digits, char** end) {
        return static_cast<std::int64_t>(std::strtoll(digits, end, 10));
    });
}

template <typename Compare>
bool MIniDataSectionT<Compare>::GetDoubleEntry(std::string_view name, double& value) const {
    return getNumber(find_entry(name), value, [](const char* digits, char** end) { return std::strtod(digits, end); });
}

template <typename Compare>
bool MIniDataSectionT<Compare>::DeleteEntry(const char* name) {
    const std::string_view wanted = withoutTrailingBlanks(name);
    const auto found = entry_map.find(wanted);
    if (found == entry_map.end()) {
        M_ERRTRACE("MIniDataSectionT::DeleteEntry(): entry \"%.40s\" not found in entry_map", name);
        return false;
    }
    entry_map.erase(found);
    for (auto line = line_vec.begin(); line != line_vec.end(); ++line) {
        const std::string& lineText = (*line)->text;
        const std::size_t begin = lineText.find_first_not_of(kBlanks);
        if (begin == std::string::npos || beginsComment(lineText[begin])) continue;
        const std::size_t equals = lineText.find('=', begin);
        if (equals == std::string::npos) {
            M_ERRTRACE("MIniDataSectionT::DeleteEntry(): no '=' found in \"%.50s\"", lineText.c_str());
            return false;
        }
        if (equals == begin) {
            M_ERRTRACE("MIniDataSectionT::DeleteEntry(): no entry name in \"%.50s\"", lineText.c_str());
            return false;
        }
        if (entryName(lineText, begin, equals) != wanted) continue;
        // A line without '=' may have been given this text as its value; its own name must not outlive it.
        std::erase_if(entry_map, [&line](const auto& entry) { return entry.second == line->get(); });
        line_vec.erase(line);
        return true;
    }
    M_ERRTRACE("MIniDataSectionT::DeleteEntry(): entry \"%.40s\" not found in line_vec", name);
    return false;
}

// ------------------------------------------------------------------------------------------------------------ ini data

template <typename Compare>
MIniDataT<Compare>::MIniDataT(std::uint32_t options) : _options(options) {}

template <typename Compare>
MIniDataT<Compare>::MIniDataT(const char* fileName) {
    if (!Open(fileName)) M_ERRTRACE("MIniData::MIniData(): Open(\"%.60s\") failed", fileName);
}

template <typename Compare>
MIniDataT<Compare>::MIniDataT(const MIniDataT& other) {
    *this = other;
}

template <typename Compare>
MIniDataT<Compare>& MIniDataT<Compare>::operator=(const MIniDataT& other) {
    if (this == &other) return *this;
    _fileName = other._fileName;
    _options = other._options;
    _lastError = other._lastError;
    SetContentString(other.GetContentString());
    _open = other._open;
    _fileAbsent = other._fileAbsent;
    _unchanged = other._unchanged;
    return *this;
}

template <typename Compare>
MIniDataT<Compare>::~MIniDataT() {
    if (!Close()) M_ERRTRACE("MIniData::~MIniData(): Close() failed");
}

template <typename Compare>
bool MIniDataT<Compare>::Open(const char* fileName) {
    std::string ownName = fileName ? fileName : "";  // before Close clears what Reload passes
    if (!Close()) {
        M_ERRTRACE("MIniData::Open(): Close() failed");
        return false;
    }
    _fileName = std::move(ownName);
    _unchanged = false;
    if (!file_access(_fileName.c_str())) {
        _open = true;  // and still absent: a new, empty file
        return true;
    }
    _fileAbsent = false;
    MFastFileReader reader;
    if (!reader.Open(_fileName.c_str())) {
        M_ERRTRACE("MIniData::Open(): MFastFileReader::Open() failed");
        return false;
    }
    if (!readLines(reader)) return false;
    _unchanged = true;
    _open = true;
    return true;
}

template <typename Compare>
bool MIniDataT<Compare>::readLines(MFastFileReader& reader) {
    std::string line;
    for (bool first = true; !reader.IsEOF(); first = false) {
        if (!reader.ReadLine(line)) {
            M_ERRTRACE("MIniData::Open(): MFastFileReader::ReadLine() failed");
            return false;
        }
        if (first && !takeMark(line)) return false;
        if (line.empty() || line.front() == '\0') continue;
        if (!parse_line(line)) {
            M_ERRTRACE("MIniData::Open(): parse_line(%.60s) failed", line.c_str());
            return false;
        }
    }
    return true;
}

// Cuts off a byte-order mark of UTF-8; false for one of UTF-16 or UTF-32.
template <typename Compare>
bool MIniDataT<Compare>::takeMark(std::string& firstLine) {
    using namespace std::string_view_literals;
    // UTF-32, high byte first; UTF-16, high byte first; UTF-16, low byte first, with which UTF-32 begins as well.
    for (const std::string_view mark : {"\x00\x00\xFE\xFF"sv, "\xFE\xFF"sv, "\xFF\xFE"sv}) {
        if (!firstLine.starts_with(mark)) continue;
        _lastError = "UTF16/32 Unicode format not supported.";
        M_ERRTRACE("MIniData::Open(\"%.80s\"): UTF16/32 Unicode format not supported", _fileName.c_str());
        return false;
    }
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    if (firstLine.starts_with(kUtf8Mark)) firstLine.erase(0, kUtf8Mark.size());
    return true;
}

template <typename Compare>
bool MIniDataT<Compare>::Close() {
    freeContent();
    _fileName.clear();
    _open = false;
    _fileAbsent = true;
    return true;
}

template <typename Compare>
void MIniDataT<Compare>::freeContent() {
    _topLines.clear();
    _sections.clear();
    _currentSection = nullptr;
}

template <typename Compare>
bool MIniDataT<Compare>::Reload() {
    return _open && Open(_fileName.c_str());
}

template <typename Compare>
std::string MIniDataT<Compare>::GetContentString() const {
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

template <typename Compare>
bool MIniDataT<Compare>::SetContentString(const std::string& text) {
    freeContent();
    _unchanged = false;
    _open = false;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of("\r\n", begin), text.size());
        if (!parse_line(text.substr(begin, end - begin))) {
            M_ERRTRACE("MIniData::SetContentString(): parse_line() failed");
            return false;
        }
        begin = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
    }
    _open = true;
    return true;
}

// ------------------------------------------------------------------------------------------------------------- parsing

template <typename Compare>
bool MIniDataT<Compare>::parse_line(const std::string& line) {
    const std::size_t begin = line.find_first_not_of(kBlanks);
    const bool blank = begin == std::string::npos;
    if (!blank && line.front() == '[') return parseHeader(line);
    if (blank || beginsComment(line[begin])) {
        MIniDataLines& lines = _currentSection ? _currentSection->line_vec : _topLines;
        lines.push_back(std::make_unique<MIniDataLine>(line));
        return true;
    }
    if (!_currentSection) {
        return refuse(__LINE__, "Possible entry \"%s\" found before first section", line.c_str());
    }
    return parseEntry(line, begin);
}

template <typename Compare>
bool MIniDataT<Compare>::parseHeader(const std::string& line) {
    const std::size_t close = line.find(']');
    if (close == std::string::npos) return refuse(__LINE__, "no matching ']' found in \"%.50s\"", line.c_str());
    const std::string name = line.substr(1, close - 1);
    if (find_section(name)) {
        if (!(_options & kReplaceSections)) return refuse(__LINE__, "Section [%s] seen twice", name.c_str());
        if (!DeleteSection(name.c_str())) {
            M_ERRTRACE("MIniData::parse_line(): DeleteSection() failed");
            return refuse(__LINE__, "Section [%s] deleting previous version failed", name.c_str());
        }
    }
    std::unique_ptr<Section> section(new (std::nothrow) Section(line));
    if (!section) {
        const char* const reason = std::strerror(errno);
        M_ERRTRACE("MIniData::parse_line(): new MIniDataSectionT() failed: %.50s", reason);
        return refuse(__LINE__, "out of memory (%s)", reason);
    }
    _currentSection = _sections.emplace(name, std::move(section)).first->second.get();
    return true;
}

template <typename Compare>
bool MIniDataT<Compare>::parseEntry(const std::string& line, std::size_t nameBegin) {
    Section& section = *_currentSection;
    const std::size_t equals = line.find('=', nameBegin);
    if (!(_options & (kAcceptBareLines | kReplaceSections))) {
        if (equals == std::string::npos) {
            return refuse(__LINE__, "No '=' found in \"%.50s\" in section %s", line.c_str(), section.text.c_str());
        }
        if (equals == nameBegin) {
            return refuse(__LINE__, "No entry name found before '=' in \"%s\" in section %s", line.c_str(),
                          section.text.c_str());
        }
    }
    const std::string name(entryName(line, nameBegin, equals));
    if (section.entry_map.contains(name)) {
        if (!(_options & kReplaceEntries)) {
            return refuse(__LINE__, "Entry \"%s\" seen twice in section %s", name.c_str(), section.text.c_str());
        }
        if (!section.DeleteEntry(name.c_str())) {
            M_ERRTRACE("MIniData::parse_line(): DeleteEntry() failed");
            return refuse(__LINE__, "Entry \"%s\" deleting previous version failed", name.c_str());
        }
    }
    const std::size_t valuePosition = equals == std::string::npos ? 0 : equals + 1;
    std::unique_ptr<MIniDataEntry> entry(new (std::nothrow) MIniDataEntry(line, valuePosition));
    if (!entry) {
        const char* const reason = std::strerror(errno);
        M_ERRTRACE("MIniData::parse_line(): new MIniDataEntry() failed: %.50s", reason);
        return refuse(__LINE__, "out of memory (%s)", reason);
    }
    MIniDataEntry* const known = entry.get();
    section.line_vec.push_back(std::move(entry));
    section.entry_map.emplace(name, known);
    return true;
}

// Notes why a line is refused and reports it from the given line of this file. Always false.
template <typename Compare>
bool MIniDataT<Compare>::refuse(int codeLine, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    setLastError(format, arguments);
    va_end(arguments);
    _MErrTrace_Location(0, kFile, codeLine);
    _MErrTrace_Add("MIniData::parse_line(): %.70s", _lastError.c_str());
    return false;
}

template <typename Compare>
void MIniDataT<Compare>::setLastError(const char* format, std::va_list arguments) {
    char text[kLastErrorSize];
    platform_vformat(text, sizeof text, format, arguments);
    _lastError = text;
}

// ------------------------------------------------------------------------------------------------- lookups and getters

template <typename Compare>
MIniDataSectionT<Compare>* MIniDataT<Compare>::find_section(std::string_view name) const {
    const auto found = _sections.find(name);
    return found == _sections.end() ? nullptr : found->second.get();
}

template <typename Compare>
bool MIniDataT<Compare>::GetStringEntry(const char* section, const char* entry, std::string& value) const {
    const Section* const found = find_section(section);
    return found && found->GetStringEntry(entry, value);
}

template <typename Compare>
bool MIniDataT<Compare>::GetLongEntry(const char* section, const char* entry, std::int32_t& value) const {
    const Section* const found = find_section(section);
    return found && found->GetLongEntry(entry, value);
}

template <typename Compare>
bool MIniDataT<Compare>::GetLongLongEntry(const char* section, const char* entry, std::int64_t& value) const {
    const Section* const found = find_section(section);
    return found && found->GetLongLongEntry(entry, value);
}

template <typename Compare>
bool MIniDataT<Compare>::GetDoubleEntry(const char* section, const char* entry, double& value) const {
    const Section* const found = find_section(section);
    return found && found->GetDoubleEntry(entry, value);
}

template <typename Compare>
bool MIniDataT<Compare>::DeleteSection(const char* section) {
    const auto found = _sections.find(std::string_view(section));
    if (found == _sections.end()) {
        M_ERRTRACE("MIniData::DeleteSection(): section \"%.40s\" not found", section);
        return false;
    }
    if (_currentSection == found->second.get()) _currentSection = nullptr;
    _sections.erase(found);
    _unchanged = false;
    return true;
}

template <typename Compare>
bool MIniDataT<Compare>::DeleteEntry(const char* section, const char* entry) {
    Section* const found = find_section(section);
    if (!found) {
        M_ERRTRACE("MIniData::DeleteEntry(): section \"%.40s\" not found", section);
        return false;
    }
    if (!found->DeleteEntry(entry)) {
        M_ERRTRACE("MIniData::DeleteEntry(): MIniDataSectionT::DeleteEntry() failed (\"%.30s\",\"%.30s\")", section,
                   entry);
        return false;
    }
    _unchanged = false;
    return true;
}

template <typename Compare>
bool MIniDataT<Compare>::SectionExists(const char* section) const {
    return find_section(section) != nullptr;
}

template <typename Compare>
bool MIniDataT<Compare>::EntryExists(const char* section, const char* entry) const {
    const Section* const found = find_section(section);
    return found && found->entry_map.contains(std::string_view(entry));
}

template <typename Compare>
std::vector<std::string> MIniDataT<Compare>::GetSectionNames() const {
    std::vector<std::string> names;
    names.reserve(_sections.size());
    for (const auto& [name, section] : _sections) names.push_back(name);
    return names;
}

template <typename Compare>
std::vector<std::string> MIniDataT<Compare>::GetEntryNames(const char* section) const {
    std::vector<std::string> names;
    if (const Section* const found = find_section(section)) {
        names.reserve(found->entry_map.size());
        for (const auto& [name, entry] : found->entry_map) names.push_back(name);
    }
    return names;
}

template class MIniDataSectionT<MIniDataCaseSensitiveCompare>;
template class MIniDataT<MIniDataCaseSensitiveCompare>;
