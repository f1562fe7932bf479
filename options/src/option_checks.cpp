#include "option_checks.h"

#include <cstdint>
#include <optional>
#include <sstream>

namespace options {
namespace {

// The name of a check holds what the completion offers: the library keeps nothing else that could.
constexpr std::string_view kOffers = "offers ";

struct DurationUnit {
    std::string_view name;
    double seconds;
};

// A name that ends like another one stands before it.
// clang-format off
constexpr DurationUnit kUnits[] = {
    {"ms",  0.001 },
    {"s",   1.0   },
    {"min", 60.0  },
    {"h",   3600.0},
};
// clang-format on

constexpr double kLeastSeconds = 0.001;
constexpr double kMostSeconds = 3'600'000.0;

bool isDecimal(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789.") == std::string_view::npos && text != "." &&
           std::ranges::count(text, '.') <= 1 && text.size() <= 20;
}

std::optional<double> secondsOf(std::string_view text) {
    for (const DurationUnit& unit : kUnits) {
        if (!text.ends_with(unit.name)) continue;
        const std::string number(text.substr(0, text.size() - unit.name.size()));
        return isDecimal(number) ? std::optional(std::strtod(number.c_str(), nullptr) * unit.seconds) : std::nullopt;
    }
    return std::nullopt;
}

}  // namespace

CLI::Validator offering(std::vector<std::string> words, std::function<std::string(const std::string&)> check) {
    std::string name(kOffers);
    for (const std::string& word : words) name += word + ' ';
    return CLI::Validator([check = std::move(check)](const std::string& text) { return check(text); }, "", name);
}

CLI::Validator oneOf(std::vector<std::string> words) {
    auto check = [words](const std::string& text) {
        if (std::ranges::find(words, text) != words.end()) return std::string();
        return didYouMeanFirst(text, words) + "'" + text + "' is none of " + listOf(words);
    };
    return offering(std::move(words), std::move(check));
}

std::vector<std::string> offeredWords(CLI::Option& option) {
    std::vector<std::string> words;
    try {
        for (int index = 0;; ++index) {
            const std::string& name = option.get_validator(index)->get_name();
            if (!name.starts_with(kOffers)) continue;
            std::istringstream stream(name.substr(kOffers.size()));
            for (std::string word; stream >> word;) words.push_back(word);
        }
    } catch (const CLI::OptionNotFound&) {  // there are no more
    }
    return words;
}

std::string problemOfDuration(const std::string& text) {
    if (isDecimal(text)) return "'" + text + "' has no unit; " + text + "s are seconds (also ms, min, h)";
    const auto seconds = secondsOf(text);
    if (seconds && *seconds >= kLeastSeconds && *seconds <= kMostSeconds) return "";
    return "'" + text + "' is no time such as 10s, from 1ms to 1000h, with its unit (ms, s, min, h)";
}

std::int64_t durationNs(const std::string& text) {
    return static_cast<std::int64_t>(std::llround(secondsOf(text).value_or(0.0) * 1e9));
}

}  // namespace options
