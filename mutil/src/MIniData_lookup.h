// Looking up sections and entries, and the getters. Part of MIniData_template_core.cpp.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "MIniData_template_core.h"

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
