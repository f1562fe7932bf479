#include "image_size.h"

#include <charconv>
#include <string_view>
#include <system_error>

namespace frames {
namespace {

// Reads a whole number from 1 to the greatest, with nothing around it.
bool parseCount(std::string_view text, std::size_t greatest, std::size_t& value) {
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    return failure == std::errc() && end == text.data() + text.size() && value >= 1 && value <= greatest;
}

}  // namespace

bool parseSize(const std::string& text, ImageFormat& size) {
    const std::size_t separator = text.find_first_of("xX");
    return separator != std::string::npos &&
           parseCount(std::string_view(text).substr(0, separator), kMaxSide, size.width) &&
           parseCount(std::string_view(text).substr(separator + 1), kMaxSide, size.height);
}

bool parseRawSize(const std::string& text, ImageFormat& size) {
    const std::size_t first = text.find_first_of("xX");
    const std::size_t second = first == std::string::npos ? first : text.find_first_of("xX", first + 1);
    size.bytesPerPixel = 1;
    if (second != std::string::npos &&
        !parseCount(std::string_view(text).substr(second + 1), kMaxBytesPerPixel, size.bytesPerPixel))
        return false;
    return parseSize(text.substr(0, second), size);
}

}  // namespace frames
