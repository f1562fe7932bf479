// "Did you mean …": finds the name that the user probably meant.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace options {

/// Number of letters to insert, remove, replace or swap with their neighbour to turn one text into the other; upper and
/// lower case are equal.
inline std::size_t editDistance(std::string_view given, std::string_view name) {
    const auto same = [](char left, char right) {
        return std::tolower(static_cast<unsigned char>(left)) == std::tolower(static_cast<unsigned char>(right));
    };
    // Three rows of the table: distances of all prefixes.
    std::vector<std::size_t> beforeLast(name.size() + 1), last(name.size() + 1), row(name.size() + 1);
    for (std::size_t column = 0; column <= name.size(); ++column) last[column] = column;
    for (std::size_t line = 1; line <= given.size(); ++line) {
        row[0] = line;
        for (std::size_t column = 1; column <= name.size(); ++column) {
            const std::size_t replaced = last[column - 1] + (same(given[line - 1], name[column - 1]) ? 0 : 1);
            row[column] = std::min({last[column] + 1, row[column - 1] + 1, replaced});
            if (line > 1 && column > 1 && same(given[line - 1], name[column - 2]) &&
                same(given[line - 2], name[column - 1]))
                row[column] = std::min(row[column], beforeLast[column - 2] + 1);
        }
        beforeLast.swap(last);
        last.swap(row);
    }
    return last[name.size()];
}

/// The name closest to the given one, the first of several; "" when none is close. A name is not close when more than a
/// third of its letters (at least two), or all of them, would have to change.
/// @param names  Any range of texts.
template <typename Names>
std::string closestName(std::string_view given, const Names& names) {
    std::string closest;
    std::size_t least = std::max<std::size_t>(2, given.size() / 3) + 1;
    for (const auto& candidate : names) {
        const std::string_view name(candidate);
        const std::size_t distance = editDistance(given, name);
        if (distance >= least || distance >= std::max(given.size(), name.size())) continue;
        least = distance;
        closest = name;
    }
    return closest;
}

/// "; did you mean 'NAME'?", or "" when no name is close.
template <typename Names>
std::string didYouMean(std::string_view given, const Names& names) {
    const std::string name = closestName(given, names);
    std::string text;
    if (!name.empty()) text.append("; did you mean '").append(name).append("'?");
    return text;
}

}  // namespace options
