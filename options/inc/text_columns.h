// How wide a text for people may be.
#pragma once

#include <cstddef>
#include <ostream>

#include "surroundings.h"

namespace options {

constexpr std::size_t kUsualColumns = 80;  // in a file, in a pipe, and where a terminal does not tell
constexpr std::size_t kMostColumns = 120;  // longer lines are hard to read
constexpr std::size_t kFewestColumns = 40;

/// Columns of a text on a stream: those of the terminal, 40 to 120, where the stream is standard output and that is a
/// terminal; else 80. As with other programs the variable COLUMNS, a whole number, wins over what a terminal says.
std::size_t textColumns(const std::ostream& stream, const Surroundings& surroundings);

/// The same for a terminal of that many columns; 0: it is none.
std::size_t textColumnsOf(std::size_t terminalColumns, const Surroundings& surroundings);

}  // namespace options
