// Rates and times as people write them, kept exactly: as fractions and whole nanoseconds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace simulator {

/// A non-negative number, as a fraction in lowest terms.
struct Fraction {
    std::uint64_t numerator = 0;
    std::uint64_t denominator = 1;

    bool operator==(const Fraction&) const = default;
};

/// Reads a decimal such as "59.94" exactly.
/// @return  None when it is not such a number, or has more than 18 digits.
std::optional<Fraction> parseDecimal(std::string_view text);

/// Images per second, 0.01 to 10000, without rounding.
struct FrameRate {
    std::uint64_t frames = 100;  // 1 to kMaxTerm
    std::uint64_t seconds = 1;   // 1 to kMaxTerm; frames / seconds is in lowest terms

    static constexpr std::uint64_t kMaxTerm = 1'000'000'000;

    constexpr FrameRate() = default;
    constexpr FrameRate(std::uint64_t wholeFrames, std::uint64_t perSeconds = 1)  // implicit: 200 is a rate
        : frames(wholeFrames), seconds(perSeconds) {}
    bool operator==(const FrameRate&) const = default;
};

/// Reads a rate: a decimal ("59.94"), or a fraction of whole numbers ("60000/1001").
/// @return  None, with the reason, when it is neither, out of range, or has too many digits to be kept exactly.
std::optional<FrameRate> parseFrameRate(std::string_view text, std::string& error);

/// "100", "59.94" or "60000/1001": a decimal if it has few digits.
std::string rateText(const FrameRate& rate);

/// Reads a time of up to one day with its unit: "20ms", "1.5s"; ns, us, ms or s.
/// @return  Nanoseconds; none when it is not such a time, or not a whole number of nanoseconds.
std::optional<std::int64_t> parseTime(std::string_view text);

}  // namespace simulator
