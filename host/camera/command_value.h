// The types of commands' parameters and results as the host knows them: their names, their fields, and how a value is
// written on the command line. One entry per type, none per command.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "CommandSignature.h"
#include "device_commands.h"

namespace host {

// ---- names

template <typename T>
inline constexpr const char* kTypeName = nullptr;

#define DORVEN_TYPE_NAME(type, name) \
    template <>                      \
    inline constexpr const char* kTypeName<type> = name;

DORVEN_TYPE_NAME(NUV::None, "none")
DORVEN_TYPE_NAME(bool, "bool")
DORVEN_TYPE_NAME(unsigned char, "unsigned char")
DORVEN_TYPE_NAME(std::int32_t, "int")
DORVEN_TYPE_NAME(std::uint64_t, "uint64")
DORVEN_TYPE_NAME(double, "double")
DORVEN_TYPE_NAME(char*, "char*")
DORVEN_TYPE_NAME(const char*, "const char*")
DORVEN_TYPE_NAME(NUV::IMAGEMEMORY*, "IMAGEMEMORY*")
DORVEN_TYPE_NAME(NUV::SmartMetaDataCaps*, "SmartMetaDataCaps*")
DORVEN_TYPE_NAME(NUV::CSmartCamParamBase*, "CSmartCamParamBase*")
DORVEN_TYPE_NAME(tagBITMAPINFO, "tagBITMAPINFO")
DORVEN_TYPE_NAME(NUV::PIXELFORMAT, "PIXELFORMAT")
DORVEN_TYPE_NAME(NUV::TRIGGERMODE, "TRIGGERMODE")
DORVEN_TYPE_NAME(NUV::SCANNINGMODE, "SCANNINGMODE")
DORVEN_TYPE_NAME(NUV::DATATRANSFERVOLUME, "DATATRANSFERVOLUME")
DORVEN_TYPE_NAME(NUV::eClippingParam, "eClippingParam")
DORVEN_TYPE_NAME(NUV::INOUTINFO, "INOUTINFO")
DORVEN_TYPE_NAME(NUV::LIGHTINFO, "LIGHTINFO")
DORVEN_TYPE_NAME(NUV::PluginInterfaceCallbackData, "PluginInterfaceCallbackData")
DORVEN_TYPE_NAME(NUV::PluginInterfaceClippingCap, "PluginInterfaceClippingCap")
DORVEN_TYPE_NAME(NUV::PluginInterfaceClippingData, "PluginInterfaceClippingData")
DORVEN_TYPE_NAME(NUV::PluginInterfaceFeatureData, "PluginInterfaceFeatureData")
DORVEN_TYPE_NAME(NUV::PluginInterfaceIOPort, "PluginInterfaceIOPort")
DORVEN_TYPE_NAME(NUV::PluginInterfaceLightTriggerData, "PluginInterfaceLightTriggerData")
DORVEN_TYPE_NAME(NUV::PluginInterfaceMotorData, "PluginInterfaceMotorData")
DORVEN_TYPE_NAME(NUV::PluginInterfacePixelSizeData, "PluginInterfacePixelSizeData")
DORVEN_TYPE_NAME(NUV::PluginInterfaceSensor1DInitData, "PluginInterfaceSensor1DInitData")

#undef DORVEN_TYPE_NAME

// ---- fields: visitFields(value, visit) calls visit(name, field) for each; a value without fields is its own, unnamed

template <typename T>
concept OpaqueWords = requires(T value) {
    value.reserved[0];
};

template <typename T, typename Visitor>
void visitFields(T& value, const Visitor& visit) {
    if constexpr (OpaqueWords<T>) {
        int number = 0;
        for (auto& word : value.reserved) visit("word" + std::to_string(number++), word);
    } else {
        visit("", value);
    }
}

template <typename T, typename Type>
concept Maybe = std::same_as<std::remove_const_t<T>, Type>;  // a value of the type, const or not

template <Maybe<NUV::PluginInterfaceClippingData> T, typename Visitor>
void visitFields(T& value, const Visitor& visit) {
    visit("x", value.x);
    visit("y", value.y);
    visit("width", value.width);
    visit("height", value.height);
}

template <Maybe<NUV::PluginInterfaceClippingCap> T, typename Visitor>
void visitFields(T& value, const Visitor& visit) {
    visit("minimum", value.minimum);
    visit("maximum", value.maximum);
    visit("step", value.step);
}

template <Maybe<NUV::PluginInterfacePixelSizeData> T, typename Visitor>
void visitFields(T& value, const Visitor& visit) {
    visit("x", value.x);
    visit("y", value.y);
}

template <Maybe<NUV::PluginInterfaceLightTriggerData> T, typename Visitor>
void visitFields(T& value, const Visitor& visit) {
    visit("first_word0", value.first.reserved[0]);
    visit("first_word1", value.first.reserved[1]);
    visit("second_word0", value.second.reserved[0]);
    visit("second_word1", value.second.reserved[1]);
    visit("value", value.value);
}

template <Maybe<tagBITMAPINFO> T, typename Visitor>
void visitFields(T& value, const Visitor& visit) {
    auto& header = value.bmiHeader;
    visit("biSize", header.biSize);
    visit("biWidth", header.biWidth);
    visit("biHeight", header.biHeight);
    visit("biPlanes", header.biPlanes);
    visit("biBitCount", header.biBitCount);
    visit("biCompression", header.biCompression);
    visit("biSizeImage", header.biSizeImage);
    visit("biXPelsPerMeter", header.biXPelsPerMeter);
    visit("biYPelsPerMeter", header.biYPelsPerMeter);
    visit("biClrUsed", header.biClrUsed);
    visit("biClrImportant", header.biClrImportant);
    auto& colour = value.bmiColors[0];
    visit("rgbBlue", colour.rgbBlue);
    visit("rgbGreen", colour.rgbGreen);
    visit("rgbRed", colour.rgbRed);
    visit("rgbReserved", colour.rgbReserved);
}

// ---- from a value to text

inline ValueField field(std::string name, bool value) {
    return {std::move(name), value ? "true" : "false", ValueField::Kind::literal};
}

template <std::integral T>
ValueField field(std::string name, T value) {
    return {std::move(name), std::to_string(value), ValueField::Kind::literal};
}

inline ValueField field(std::string name, double value) {
    char text[40];
    const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;  // as short as reads back the same
    return {std::move(name), std::string(text, end), ValueField::Kind::real};
}

template <typename T>
requires std::is_enum_v<T> ValueField field(std::string name, T value) {
    return field(std::move(name), static_cast<std::underlying_type_t<T>>(value));
}

inline ValueField nullField(std::string name) { return {std::move(name), "null", ValueField::Kind::null}; }

/// A text, unchanged.
inline ValueField field(std::string name, const char* value) {
    return value ? ValueField{std::move(name), value, ValueField::Kind::text} : nullField(std::move(name));
}

/// An address: the host may not read what it points to.
inline ValueField addressField(std::string name, const void* address) {
    if (!address) return nullField(std::move(name));
    char text[24] = "0x";
    const auto number = reinterpret_cast<std::uintptr_t>(address);
    const auto end = std::to_chars(text + 2, std::end(text), number, 16).ptr;
    return {std::move(name), std::string(text, end), ValueField::Kind::text};
}
inline ValueField field(std::string name, char* address) { return addressField(std::move(name), address); }

template <typename T>
std::vector<ValueField> fieldsOf(const T& value) {
    std::vector<ValueField> fields;
    visitFields(value, [&](const std::string& name, const auto& part) { fields.push_back(field(name, part)); });
    return fields;
}

std::vector<ValueField> fieldsOf(NUV::IMAGEMEMORY* const& record);
std::vector<ValueField> fieldsOf(NUV::SmartMetaDataCaps* const& caps);

// ---- from the command line to a value

/// The required form of one field, for messages.
template <typename T>
std::string wanted() {
    if constexpr (std::is_enum_v<T>) {
        return wanted<std::underlying_type_t<T>>();
    } else if constexpr (std::is_same_v<T, bool>) {
        return "true or false";
    } else if constexpr (std::is_same_v<T, double>) {
        return "a number";
    } else {
        return "a whole number from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
               std::to_string(std::numeric_limits<T>::max());
    }
}

template <typename T>
bool parseField(std::string_view text, T& value) {
    if constexpr (std::is_enum_v<T>) {
        std::underlying_type_t<T> number{};
        const bool good = parseField(text, number);
        value = static_cast<T>(number);
        return good;
    } else if constexpr (std::is_same_v<T, bool>) {
        value = text == "true" || text == "1";
        return value || text == "false" || text == "0";
    } else {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        return error == std::errc() && end == text.data() + text.size();
    }
}

inline std::vector<std::string_view> splitAtCommas(std::string_view text) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t comma = text.find(',');
        parts.push_back(text.substr(0, comma));
        if (comma == text.npos) return parts;
        text.remove_prefix(comma + 1);
    }
}

/// A host's callback that lets every image pass.
int ignoreImage(void* context, NUV::IMAGEMEMORY* record);

/// Reads a parameter's value. @return What is wrong with it; empty when it is valid.
template <typename T>
std::string parseValue(const std::string& text, T& value) {
    const std::vector<std::string_view> parts = splitAtCommas(text);
    std::size_t count = 0;
    std::string names, form, problem;
    visitFields(value, [&](const std::string& name, auto& part) {
        names += (count ? "," : "") + name;
        form = wanted<std::remove_reference_t<decltype(part)>>();
        if (count < parts.size() && problem.empty() && !parseField(parts[count], part)) {
            problem = "'" + std::string(parts[count]) + "' is not " + form;
            if (!name.empty()) problem = name + ": " + problem;
        }
        ++count;
    });
    if (count == parts.size()) return problem;
    return "'" + text + "' is not " + (count == 1 ? form : std::to_string(count) + " numbers: " + names);
}

inline std::string parseValue(const std::string& text, NUV::CSmartCamParamBase*& value) {
    value = nullptr;
    return text == "null" ? "" : "'" + text + "' is not null: there is no such object in this host";
}

inline std::string parseValue(const std::string& text, NUV::PluginInterfaceCallbackData& value) {
    value = {nullptr, text == "host" ? &ignoreImage : nullptr};
    return text == "host" || text == "null" ? ""
                                            : "'" + text +
                                                  "' is neither host (a function that lets images pass) nor "
                                                  "null (none)";
}

/// A value that requests nothing, in the form that parseValue reads.
template <typename T>
std::string neutralValue() {
    if constexpr (std::is_same_v<T, NUV::CSmartCamParamBase*> || std::is_same_v<T, NUV::PluginInterfaceCallbackData>) {
        return "null";
    } else {
        std::string text;
        T value{};
        visitFields(value, [&](const std::string&, const auto&) { text += text.empty() ? "0" : ",0"; });
        return text;
    }
}

}  // namespace host
