#include "frame_rate.h"

#include <charconv>
#include <numeric>

namespace simulator {
namespace {

constexpr std::size_t kMaxDigits = 18;  // such a number fits into 64 bits
constexpr std::uint64_t kMaxFramesPerSecond = 10'000;
constexpr std::uint64_t kMaxSecondsPerFrame = 100;
constexpr std::uint64_t kDayNs = 86'400'000'000'000;

struct TimeUnit {
    std::string_view name;
    std::uint64_t nanoseconds;
};

// A name that ends like another one comes first.
// clang-format off
constexpr TimeUnit kTimeUnits[] = {
    {"ns", 1            },
    {"us", 1'000        },
    {"ms", 1'000'000    },
    {"s",  1'000'000'000},
};
// clang-format on

bool areDigits(std::string_view text) { return text.find_first_not_of("0123456789") == std::string_view::npos; }

Fraction inLowestTerms(std::uint64_t numerator, std::uint64_t denominator) {
    const std::uint64_t common = std::gcd(numerator, denominator);
    return {numerator / common, denominator / common};
}

std::optional<std::uint64_t> parseWhole(std::string_view text) {
    const auto number = parseDecimal(text);
    return number && areDigits(text) ? std::optional(number->numerator) : std::nullopt;
}

std::optional<Fraction> parseRatio(std::string_view text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos) return parseDecimal(text);
    const auto above = parseWhole(text.substr(0, slash));
    const auto below = parseWhole(text.substr(slash + 1));
    if (!above || !below || *below == 0) return std::nullopt;
    return inLowestTerms(*above, *below);
}

// By division, because products of two long numbers would overflow.
bool isInRange(const Fraction& rate) {
    const bool tooFast = rate.numerator / rate.denominator > kMaxFramesPerSecond ||
                         (rate.numerator / rate.denominator == kMaxFramesPerSecond && rate.denominator != 1);
    if (rate.numerator == 0 || tooFast) return false;
    const std::uint64_t seconds = rate.denominator / rate.numerator;
    return seconds < kMaxSecondsPerFrame || (seconds == kMaxSecondsPerFrame && rate.denominator % rate.numerator == 0);
}

}  // namespace

std::optional<Fraction> parseDecimal(std::string_view text) {
    const std::size_t point = text.find('.');
    std::string digits(text.substr(0, point));
    const std::string_view behind = point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
    digits.append(behind);
    if (digits.empty() || digits.size() > kMaxDigits || !areDigits(digits)) return std::nullopt;
    std::uint64_t numerator = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), numerator);
    std::uint64_t denominator = 1;
    for (std::size_t digit = 0; digit < behind.size(); ++digit) denominator *= 10;
    return inLowestTerms(numerator, denominator);
}

std::optional<FrameRate> parseFrameRate(std::string_view text, std::string& error) {
    const auto rate = parseRatio(text);
    const auto complain = [&](const char* problem) { error.append("'").append(text).append("' ").append(problem); };
    if (!rate || !isInRange(*rate)) {
        complain("is not a number from 0.01 to 10000, such as 59.94 or 60000/1001");
    } else if (rate->numerator > FrameRate::kMaxTerm || rate->denominator > FrameRate::kMaxTerm) {
        complain("has more digits than can be kept exactly; a fraction such as 60000/1001 has few");
    } else {
        return FrameRate(rate->numerator, rate->denominator);
    }
    return std::nullopt;
}

std::string rateText(const FrameRate& rate) {
    for (const std::uint64_t scale : {1ull, 10ull, 100ull, 1000ull}) {
        if (scale % rate.seconds != 0) continue;
        const std::uint64_t scaled = rate.frames * (scale / rate.seconds);
        if (scale == 1) return std::to_string(scaled);
        std::string fraction = std::to_string(scale + scaled % scale);  // the one in front keeps the zeros
        fraction.front() = '.';
        return std::to_string(scaled / scale) + fraction;
    }
    return std::to_string(rate.frames).append("/").append(std::to_string(rate.seconds));
}

std::optional<std::int64_t> parseTime(std::string_view text) {
    for (const TimeUnit& unit : kTimeUnits) {
        if (!text.ends_with(unit.name)) continue;
        const auto number = parseDecimal(text.substr(0, text.size() - unit.name.size()));
        if (!number || unit.nanoseconds % number->denominator != 0) return std::nullopt;
        const std::uint64_t each = unit.nanoseconds / number->denominator;
        if (number->numerator > kDayNs / each) return std::nullopt;
        return static_cast<std::int64_t>(number->numerator * each);
    }
    return std::nullopt;
}

}  // namespace simulator
