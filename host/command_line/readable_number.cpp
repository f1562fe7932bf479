#include "readable_number.h"

#include <algorithm>

#include "platform.h"
#include "terminal.h"

namespace host {
namespace {

constexpr std::size_t kGroup = 3;  // digits between two commas

/// @param end  Where the digits end.
void groupDigits(std::string& text, std::size_t end) {
    const std::size_t begin = text.starts_with('-') ? 1 : 0;
    for (std::size_t at = end; at > begin + kGroup; at -= kGroup) text.insert(at - kGroup, 1, ',');
}

std::string blanksFor(const std::string& text, std::size_t columns) {
    const auto begins = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; };
    const auto used = static_cast<std::size_t>(std::ranges::count_if(text, begins));
    return std::string(columns - std::min(columns, used), ' ');
}

}  // namespace

std::string readable(std::uint64_t number) {
    std::string text = std::to_string(number);
    groupDigits(text, text.size());
    return text;
}

std::string readable(const std::optional<double>& number, int decimals) {
    if (!number) return "-";
    char buffer[400];  // the greatest double has 309 digits
    platform_format(buffer, sizeof buffer, "%.*f", decimals, *number);
    std::string text = buffer;
    const bool isFinite = *number - *number == 0.0;
    if (isFinite) groupDigits(text, std::min(text.find('.'), text.size()));
    return text;
}

std::string counted(std::uint64_t number, const std::string& what) {
    return readable(number) + ' ' + what + (number == 1 ? "" : "s");
}

const char* microseconds(bool onStandardError) {
    const bool utf8 = onStandardError ? platform_standardErrorTakesUtf8() : platform_standardOutputTakesUtf8();
    return utf8 ? "\u00B5s" : "us";
}

std::string rightAligned(const std::string& text, std::size_t columns) { return blanksFor(text, columns) + text; }

std::string leftAligned(const std::string& text, std::size_t columns) { return text + blanksFor(text, columns); }

}  // namespace host
