// Checks that options of both programs share. What a check says names the value and what would be right.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "closest_name.h"
#include "platform.h"
#include "regular_file.h"

namespace options {

/// Whether a text is a number within limits; nan is outside all limits.
template <typename Number>
bool isWithin(const std::string& text, Number least, Number greatest) {
    return CLI::Range(least, greatest)(text).empty() && !std::isnan(std::strtod(text.c_str(), nullptr));
}

/// @param limits  For people, such as "1 to 16".
template <typename Number>
CLI::Validator within(Number least, Number greatest, const char* limits) {
    return CLI::Validator(
        [least, greatest, limits](const std::string& text) {
            return isWithin(text, least, greatest) ? "" : "'" + text + "' is not a number from " + limits;
        },
        "");
}

/// A check beside which the completion offers words.
CLI::Validator offering(std::vector<std::string> words, std::function<std::string(const std::string&)> check);

/// One of some words, which the completion offers.
CLI::Validator oneOf(std::vector<std::string> words);

/// The words that the completion offers for an option; none: it has no such check.
std::vector<std::string> offeredWords(CLI::Option& option);

/// A time with its unit, 1ms to 1000h. What is wrong with the text; empty: nothing.
std::string problemOfDuration(const std::string& text);

/// Nanoseconds of a text that has no problem.
std::int64_t durationNs(const std::string& text);

/// A file that can be read. Not CLI's own check, which does not take names in the encoding in which Windows gives them.
inline CLI::Validator existingFile() {
    return CLI::Validator(
        [](const std::string& path) {
            const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            OPEN_EXISTING, 0, nullptr);
            if (file == INVALID_HANDLE_VALUE) return "'" + path + "' is not a file that can be read";
            CloseHandle(file);
            return std::string();
        },
        "");
}

/// A file that can be read whole; no pipe or device, which could block the program.
inline CLI::Validator regularFile() {
    return CLI::Validator(
        [](const std::string& path) {
            RegularFile file;
            std::string problem;
            return file.open(path, problem) ? std::string() : problem;
        },
        "");
}

}  // namespace options
