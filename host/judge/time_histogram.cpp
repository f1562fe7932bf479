#include "time_histogram.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "percentile.h"

namespace host {
namespace {

constexpr std::size_t kSlotBits = 12;
constexpr std::uint64_t kSlots = std::uint64_t{1} << kSlotBits;  // of an octave; the first one has twice as many
constexpr std::uint64_t kGreatest = std::uint64_t{1} << 62;

struct Place {
    std::size_t octave;
    std::size_t slot;
};

Place placeOf(std::uint64_t value) {
    if (value < 2 * kSlots) return {0, static_cast<std::size_t>(value)};
    const std::size_t octave = static_cast<std::size_t>(std::bit_width(value)) - kSlotBits - 1;
    return {octave, static_cast<std::size_t>((value >> octave) - kSlots)};
}

double microseconds(std::uint64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1000.0; }

}  // namespace

void TimeHistogram::add(std::int64_t nanoseconds) {
    const std::uint64_t value = std::min(static_cast<std::uint64_t>(std::max<std::int64_t>(nanoseconds, 0)), kGreatest);
    const auto [octave, slot] = placeOf(value);
    if (octave >= _octaves.size()) _octaves.resize(octave + 1);
    if (_octaves[octave].empty()) _octaves[octave].resize(octave == 0 ? 2 * kSlots : kSlots);
    ++_octaves[octave][slot];
    _leastNs = _count == 0 ? value : std::min(_leastNs, value);
    _greatestNs = std::max(_greatestNs, value);
    ++_count;
}

void TimeHistogram::clear() {
    for (auto& octave : _octaves) std::fill(octave.begin(), octave.end(), 0);
    _count = _leastNs = _greatestNs = 0;
}

// Greatest value of a class, but not above the greatest time that was added.
std::uint64_t TimeHistogram::valueAt(std::size_t octave, std::size_t slot) const {
    const std::uint64_t value = octave == 0 ? slot : ((slot + kSlots + 1) << octave) - 1;
    return std::clamp(value, _leastNs, _greatestNs);
}

// Calls visit(value, count) in ascending order until it returns false.
template <typename Visit>
void TimeHistogram::visit(Visit&& visit) const {
    for (std::size_t octave = 0; octave < _octaves.size(); ++octave)
        for (std::size_t slot = 0; slot < _octaves[octave].size(); ++slot)
            if (const std::uint64_t here = _octaves[octave][slot]; here != 0 && !visit(valueAt(octave, slot), here))
                return;
}

std::uint64_t TimeHistogram::percentileNs(double share) const {
    const std::uint64_t rank = frames::percentileRank(share, _count);
    std::uint64_t seen = 0;
    std::uint64_t result = 0;
    visit([&](std::uint64_t value, std::uint64_t here) {
        seen += here;
        result = value;
        return seen < rank;
    });
    return result;
}

std::optional<double> TimeHistogram::percentileUs(double share) const {
    if (_count == 0) return std::nullopt;
    return microseconds(percentileNs(share));
}

std::optional<double> TimeHistogram::spreadUs(double share) const {
    if (_count == 0) return std::nullopt;
    const std::uint64_t median = percentileNs(0.5);
    std::vector<std::pair<std::uint64_t, std::uint64_t>> distances;  // with their counts
    visit([&](std::uint64_t value, std::uint64_t here) {
        distances.emplace_back(value > median ? value - median : median - value, here);
        return true;
    });
    std::sort(distances.begin(), distances.end());
    const std::uint64_t rank = frames::percentileRank(share, _count);
    std::uint64_t seen = 0;
    const auto reached = std::find_if(distances.begin(), distances.end(), [&](const auto& distance) {
        seen += distance.second;
        return seen >= rank;
    });
    return microseconds(reached->first);
}

std::optional<double> TimeHistogram::maxUs() const {
    if (_count == 0) return std::nullopt;
    return microseconds(_greatestNs);
}

}  // namespace host
