// Chunks of PNG files, for tests that build such files.
#pragma once

#include <cstddef>
#include <string>

#include "crc32.h"

namespace test {

inline std::string bigEndian(std::size_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<char>(value >> shift));
    return bytes;
}

/// Length, type, content and check sum.
inline std::string pngChunk(const std::string& type, const std::string& content) {
    const std::string checked = type + content;
    return bigEndian(content.size()) + checked + bigEndian(frames::crc32(checked.data(), checked.size()));
}

}  // namespace test
