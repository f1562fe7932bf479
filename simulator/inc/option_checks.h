// Checks that the simulator's options share.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace simulator {

/// A number within limits; one that is not a number (nan) is within none.
/// @param limits  The same for people, such as "1 to 16".
template <typename Number>
CLI::Validator within(Number least, Number greatest, const char* limits) {
    return CLI::Validator(
        [least, greatest, limits](const std::string& text) {
            Number value{};
            if (CLI::detail::lexical_cast(text, value) && value >= least && value <= greatest) return std::string();
            return "'" + text + "' is not a number from " + limits;
        },
        "");
}

}  // namespace simulator
