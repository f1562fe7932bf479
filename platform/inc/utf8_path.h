// Narrow texts as paths of the standard library and back. Narrow texts are UTF-8 in our programs; a path made of plain
// char would not be taken for it on Windows.
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
