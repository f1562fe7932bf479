// The setters, and adding, removing and renaming.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "MIniData_parts.h"
#include "errtrace.h"
#include "format_string.h"
#include "platform.h"

namespace {

// Whether a line that begins with that name would be a comment.
bool namesComment(std::string_view name) {
    const std::size_t begin = name.find_first_not_of(kBlanks);
    return begin != std::string_view::npos && beginsComment(name[begin]);
}

}  // namespace

bool IniData::SetStringEntry(const char* section, const char* entry, const char* text) {
    if (namesComment(entry)) {
        return refuseComment(M_HERE, "%s(): cannot add comment as an entry: \"%s=%s\"",
                             "MIniDataT<struct MIniDataCaseSensitiveCompare>::SetStringEntry", entry, text);
    }
    return setEntry(section, "MIniData::SetStringEntry(): add_new_section() failed",
                    [=](Section& target) { return target.SetStringEntry(entry, text); });
}

bool IniData::SetLongEntry(const char* section, const char* entry, std::int32_t value) {
    if (namesComment(entry)) {
        return refuseComment(M_HERE, "%s(): cannot add comment as an entry: \"%s=%ld\"",
                             "MIniDataT<struct MIniDataCaseSensitiveCompare>::SetLongEntry", entry,
                             static_cast<long>(value));
    }
    return setEntry(section, "MIniData::SetLongEntry(): add_new_section() failed",
                    [=](Section& target) { return target.SetLongEntry(entry, value); });
}

bool IniData::SetLongLongEntry(const char* section, const char* entry, std::int64_t value) {
    // kept on purpose: docs/oddities.md, setlonglong-name
    if (namesComment(entry)) {
        return refuseComment(M_HERE, "%s(): cannot add comment as an entry: \"%s=%lld\"",
                             "MIniDataT<struct MIniDataCaseSensitiveCompare>::SetLongEntry", entry,
                             static_cast<long long>(value));
    }
    return setEntry(section, "MIniData::SetLongLongEntry(): add_new_section() failed",
                    [=](Section& target) { return target.SetLongLongEntry(entry, value); });
}

bool IniData::SetDoubleEntry(const char* section, const char* entry, double value) {
    if (namesComment(entry)) {
        return refuseComment(M_HERE, "%s(): cannot add comment as an entry: \"%s=%g\"",
                             "MIniDataT<struct MIniDataCaseSensitiveCompare>::SetDoubleEntry", entry, value);
    }
    return setEntry(section, "MIniData::SetDoubleEntry(): add_new_section() failed",
                    [=](Section& target) { return target.SetDoubleEntry(entry, value); });
}

// Reports, from the given line of this file, why a name is refused, and stores the reason without the leading function
// name. The entry's name follows. If the whole cannot be formatted, only these two are reported. Always false.
bool IniData::refuseComment(int codeLine, const char* format, ...) {
    constexpr std::size_t kGreatestName = 1'000'000'000;
    std::va_list arguments;
    va_start(arguments, format);
    std::string text;
    formatString(text, format, arguments);
    va_end(arguments);
    if (text.empty()) {
        va_start(arguments, format);
        text = va_arg(arguments, const char*);
        const std::string_view entry = va_arg(arguments, const char*);
        va_end(arguments);
        text.append("(): cannot add comment as an entry: \"").append(entry.substr(0, kGreatestName)).append("=...\"");
    }
    _MErrTrace_Location(0, kFile, codeLine);
    _MErrTrace_Add("%s", text.c_str());
    _lastError.assign(text, text.find("(): ") + 4, kLastErrorSize - 1);
    return false;
}

// Sets an entry of a section, which is added if missing. On failure the given text is reported.
template <typename Set>
bool IniData::setEntry(std::string_view section, const char* failure, Set set) {
    IniSection* target = find_section(section);
    if (!target) {
        target = add_new_section(section);
        if (!target) {
            M_ERRTRACE("%s", failure);
            return false;
        }
        _unchanged = false;  // a section without the entry is a change, too
    }
    if (!set(*target)) return false;
    _unchanged = false;
    return true;
}

IniSection* IniData::add_new_section(std::string_view name) {
    if (find_section(name)) return nullptr;
    std::string header;
    header.reserve(name.size() + 2);
    header.append(1, '[').append(name).append(1, ']');
    std::unique_ptr<Section> section(new (std::nothrow) Section(std::move(header)));
    if (!section) return nullptr;
    return _sections.emplace(name, std::move(section)).first->second.get();
}

bool IniData::AddSection(const char* section) {
    if (!add_new_section(section)) {
        M_ERRTRACE("MIniData::AddSection(): add_new_section() failed");
        return false;
    }
    _unchanged = false;
    return true;
}

bool IniData::DeleteSection(const char* section) {
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

bool IniData::DeleteEntry(const char* section, const char* entry) {
    IniSection* const found = find_section(section);
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

bool IniData::RenameSection(const char* oldName, const char* newName) {
    const char kFunction[] = "MIniDataT<struct MIniDataCaseSensitiveCompare>::RenameSection";
    if (find_section(newName)) {
        M_ERRTRACE("%s(): section \"%s\" already exists", kFunction, newName);
        return false;
    }
    IniSection* const source = find_section(oldName);
    if (!source) {
        // kept on purpose: docs/oddities.md, doesnt-exists
        M_ERRTRACE("%s(): the source section \"%s\" doesn't exists", kFunction, oldName);
        return false;
    }
    IniSection* const target = add_new_section(newName);
    if (!target) {
        M_ERRTRACE("MIniData::RenameSection(): add_new_section() failed");
        return false;
    }
    target->line_vec = std::move(source->line_vec);
    target->entry_map = std::move(source->entry_map);
    return DeleteSection(oldName);
}
