// A section of ini data: its getters and setters and the removal of entries.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "MIniData_parts.h"
#include "errtrace.h"
#include "stl_utilities.h"

namespace {

// Assigns the number at the start of the value, or 0 if there is none;
// kept on purpose: docs/oddities.md, no-number-is-zero
template <typename Value, typename Convert>
bool getNumber(const MIniDataEntry* entry, Value& value, Convert convert) {
    if (!entry) return false;
    char* end = nullptr;
    value = convert(entry->value(), &end);
    return end != entry->value();
}

}  // namespace

IniSection::MIniDataSectionT(std::string headerText) : MIniDataLine(std::move(headerText)) {
    line_vec.reserve(kUsualLinesPerSection);
}

const MIniDataEntry* IniSection::find_entry(std::string_view name) const {
    const auto found = entry_map.find(withoutTrailingBlanks(name));
    return found == entry_map.end() ? nullptr : found->second;
}

bool IniSection::GetStringEntry(std::string_view name, std::string& value) const {
    const MIniDataEntry* const entry = find_entry(name);
    if (!entry) return false;
    value.assign(entry->text, entry->valuePosition);
    return true;
}

bool IniSection::GetLongEntry(std::string_view name, std::int32_t& value) const {
    return getNumber(find_entry(name), value, [](const char* digits, char** end) {
        const long number = std::strtol(digits, end, 10);  // 64 bits on some systems
        return static_cast<std::int32_t>(std::clamp<long>(number, INT32_MIN, INT32_MAX));
    });
}

bool IniSection::GetLongLongEntry(std::string_view name, std::int64_t& value) const {
    return getNumber(find_entry(name), value, [](const char* digits, char** end) {
        return static_cast<std::int64_t>(std::strtoll(digits, end, 10));
    });
}

bool IniSection::GetDoubleEntry(std::string_view name, double& value) const {
    return getNumber(find_entry(name), value, [](const char* digits, char** end) { return std::strtod(digits, end); });
}

bool IniSection::SetStringEntry(std::string_view name, std::string_view value) {
    if (setEntry(name, value)) return true;
    M_ERRTRACE("MIniDataSectionT::SetStringEntry(): add_new_entry() failed");
    return false;
}

bool IniSection::SetLongEntry(std::string_view name, std::int32_t value) {
    if (setNumber(name, stl_string_format("%ld", static_cast<long>(value)))) return true;
    M_ERRTRACE("MIniDataSectionT::SetLongEntry(): add_new_entry() failed");
    return false;
}

bool IniSection::SetLongLongEntry(std::string_view name, std::int64_t value) {
    if (setNumber(name, stl_string_format("%lld", static_cast<long long>(value)))) return true;
    M_ERRTRACE("MIniDataSectionT::SetLongLongEntry(): add_new_entry() failed");
    return false;
}

bool IniSection::SetDoubleEntry(std::string_view name, double value) {
    if (setNumber(name, stl_string_format("%.17g", value))) return true;
    M_ERRTRACE("MIniDataSectionT::SetDoubleEntry(): add_new_entry() failed");
    return false;
}

bool IniSection::setEntry(std::string_view name, std::string_view value) {
    const auto found = entry_map.find(withoutTrailingBlanks(name));
    if (found == entry_map.end()) return add_new_entry(name, value);
    MIniDataEntry& entry = *found->second;
    entry.text.replace(entry.valuePosition, std::string::npos, value);
    return true;
}

// A number that could not be formatted has no digits.
bool IniSection::setNumber(std::string_view name, std::string_view digits) {
    return !digits.empty() && setEntry(name, digits);
}

bool IniSection::add_new_entry(std::string_view name, std::string_view value) {
    const std::string_view ownName = withoutTrailingBlanks(name);
    std::string line;
    line.reserve(ownName.size() + 1 + value.size());
    line.append(ownName).append(1, '=').append(value);
    std::unique_ptr<MIniDataEntry> entry(new (std::nothrow) MIniDataEntry(std::move(line), ownName.size() + 1));
    if (!entry) return false;
    append(entry_map.lower_bound(ownName), ownName, std::move(entry));
    return true;
}

void IniSection::append(EntryMap::const_iterator place, std::string_view name, std::unique_ptr<MIniDataEntry> entry) {
    MIniDataEntry* const known = entry.get();
    line_vec.push_back(std::move(entry));
    try {
        entry_map.emplace_hint(place, name, known);
    } catch (...) {
        line_vec.pop_back();
        throw;
    }
}

bool IniSection::DeleteEntry(std::string_view name) {
    const auto found = entry_map.find(withoutTrailingBlanks(name));
    if (found == entry_map.end()) {
        M_ERRTRACE("MIniDataSectionT::DeleteEntry(): entry \"%.40s\" not found in entry_map",
                   std::string(name).c_str());
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
        // kept on purpose: docs/oddities.md, delete-by-exact-name
        if (entryName(lineText, begin, equals) != name) continue;
        // A line without '=' may have received this text as its value; the entry of its own name must go with it.
        std::erase_if(entry_map, [&line](const auto& entry) { return entry.second == line->get(); });
        line_vec.erase(line);
        return true;
    }
    M_ERRTRACE("MIniDataSectionT::DeleteEntry(): entry \"%.40s\" not found in line_vec", std::string(name).c_str());
    return false;
}
