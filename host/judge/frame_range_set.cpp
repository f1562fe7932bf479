#include "frame_range_set.h"

#include <algorithm>
#include <iterator>

namespace host {

void FrameRangeSet::add(const FrameRange& range) {
    FrameRange whole = range;
    auto next = _ranges.upper_bound(range.first);
    if (next != _ranges.begin() && std::prev(next)->second >= range.first) --next;
    while (next != _ranges.end() && next->first <= whole.last) {
        whole = {std::min(whole.first, next->first), std::max(whole.last, next->second)};
        next = _ranges.erase(next);
    }
    _ranges.emplace(whole.first, whole.last);
}

std::vector<FrameRange> FrameRangeSet::outside(const FrameRange& range) const {
    std::vector<FrameRange> result;
    std::uint64_t from = range.first;
    auto next = _ranges.upper_bound(range.first);
    if (next != _ranges.begin() && std::prev(next)->second >= range.first) --next;
    for (; next != _ranges.end() && next->first <= range.last; ++next) {
        if (next->first > from) result.push_back({from, next->first - 1});
        if (next->second >= range.last) return result;
        from = next->second + 1;
    }
    result.push_back({from, range.last});
    return result;
}

std::vector<FrameRange> FrameRangeBag::take(const FrameRange& range) {
    std::vector<FrameRange> absent;
    std::uint64_t from = range.first;
    auto next = _ranges.upper_bound(from);
    if (next != _ranges.begin() && std::prev(next)->second >= from) --next;
    while (next != _ranges.end() && next->first <= range.last) {
        const FrameRange here{next->first, next->second};
        if (here.last < from) {  // the same number once more
            ++next;
            continue;
        }
        const FrameRange taken{std::max(from, here.first), std::min(range.last, here.last)};
        if (taken.first > from) absent.push_back({from, taken.first - 1});
        _ranges.erase(next);
        if (here.first < taken.first) _ranges.emplace(here.first, taken.first - 1);
        if (here.last > taken.last) _ranges.emplace(taken.last + 1, here.last);
        if (taken.last == range.last) return absent;
        from = taken.last + 1;
        next = _ranges.lower_bound(from);
    }
    absent.push_back({from, range.last});
    return absent;
}

std::vector<FrameRange> FrameRangeBag::ranges() const {
    std::vector<FrameRange> result;
    for (const auto& [first, last] : _ranges) result.push_back({first, last});
    return result;
}

}  // namespace host
