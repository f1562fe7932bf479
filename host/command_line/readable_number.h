// Numbers as people read them, and columns of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace host {

/// "1,234,567".
std::string readable(std::uint64_t number);

/// "1,234.5": rounded to so many decimals; "-" without a number.
std::string readable(const std::optional<double>& number, int decimals);

/// "1 image", "2,000 images". @param what  One of them; an s makes it many.
std::string counted(std::uint64_t number, const std::string& what);

/// The unit as standard output, or standard error, can show it: with the Greek letter, or "us".
const char* microseconds(bool onStandardError = false);

/// A UTF-8 text with as many blanks before or behind it as bring it to that many columns; never cut.
std::string rightAligned(const std::string& text, std::size_t columns);
std::string leftAligned(const std::string& text, std::size_t columns);

}  // namespace host
