// Narrow texts as paths of the standard library and back. Our programs use UTF-8 in narrow texts; Windows would not
// read a path made of plain char as UTF-8.
#pragma once

#include <filesystem>
#include <string>

inline std::filesystem::path pathOfText(const std::string& text) {
    return {reinterpret_cast<const char8_t*>(text.c_str())};
}

inline std::string textOfPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}
