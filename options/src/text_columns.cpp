#include "text_columns.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <string>

#include "terminal.h"

namespace options {
namespace {

// 0: the variable is not set, or is no whole number.
std::size_t columnsVariable(const Surroundings& surroundings) {
    const std::string text = platform_variableIn(surroundings.environment, "COLUMNS");
    std::size_t columns = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), columns);
    return failure == std::errc() && end == text.data() + text.size() ? columns : 0;
}

}  // namespace

std::size_t textColumns(const std::ostream& stream, const Surroundings& surroundings) {
    const bool isStandardOutput = stream.rdbuf() == std::cout.rdbuf();
    return textColumnsOf(isStandardOutput ? platform_outputTerminalColumns() : 0, surroundings);
}

std::size_t textColumnsOf(std::size_t terminalColumns, const Surroundings& surroundings) {
    if (terminalColumns == 0) return kUsualColumns;
    const std::size_t wanted = columnsVariable(surroundings);
    return std::clamp(wanted != 0 ? wanted : terminalColumns, kFewestColumns, kMostColumns);
}

}  // namespace options
