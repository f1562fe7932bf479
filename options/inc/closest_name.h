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

/// "did you mean 'NAME'? ", or "" when no name is near: the beginning of a sentence on what is wrong.
template <typename Names>
std::string didYouMeanFirst(std::string_view given, const Names& names) {
    const std::string name = closestName(given, names);
    std::string text;
    if (!name.empty()) text.append("did you mean '").append(name).append("'? ");
    return text;
}

/// "a, b, c"
template <typename Names>
std::string listOf(const Names& names) {
    std::string text;
    for (const auto& name : names) text.append(text.empty() ? "" : ", ").append(name);
    return text;
}

/// "did you mean 'drop'? There is no fault 'drp'", or "there is no fault 'x'; there are drop, torn".
/// @param kind  Of what the names are: "fault".
/// @param all   What shows all names; empty: they follow themselves.
template <typename Names>
std::string noSuchName(std::string_view kind, std::string_view given, const Names& names, std::string_view all = {}) {
    constexpr std::size_t kShown = 60;  // a longer one is no name
    std::string text = didYouMeanFirst(given, names);
    const bool isNear = !text.empty();
    text.append(isNear ? "There is no " : "there is no ").append(kind).append(" '");
    text.append(given.substr(0, kShown)).append(given.size() > kShown ? "…'" : "'");
    if (isNear) return text;
    if (all.empty()) return text.append("; there are ").append(listOf(names));
    return text.append("; ").append(all);
}

}  // namespace options
