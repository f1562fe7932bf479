// Frame numbers from first to last.
#pragma once

#include <cstdint>
#include <string>

namespace frames {

struct FrameRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;  // inclusive; not below first

    bool operator==(const FrameRange&) const = default;
    /// Number of frames; 2^64 - 1 for the range of all numbers.
    std::uint64_t frames() const { return last - first == UINT64_MAX ? UINT64_MAX : last - first + 1; }
    bool has(std::uint64_t number) const { return number >= first && number <= last; }
};

/// "7" or "7-9".
inline std::string rangeText(const FrameRange& range) {
    std::string text = std::to_string(range.first);
    if (range.last != range.first) text.append("-").append(std::to_string(range.last));
    return text;
}

}  // namespace frames
