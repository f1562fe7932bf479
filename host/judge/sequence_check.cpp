#include "sequence_check.h"

#include <algorithm>
#include <iterator>

namespace host {
namespace {

constexpr std::size_t kMaxRanges = 100'000;
constexpr std::uint64_t kOvertaken = 16;  // numbers by which a frame may be overtaken that is stamped later

}  // namespace

Follows SequenceCheck::add(std::uint64_t frameNumber, std::uint64_t timeStampNs) {
    const bool later = timeStampNs > _latestTimeStampNs;
    _latestTimeStampNs = std::max(_latestTimeStampNs, timeStampNs);
    // Missing just before: a frame that was overtaken by one whose time stamp went back.
    const bool overtaken = _greatest && *_greatest - frameNumber <= kOvertaken && isMissing(frameNumber);
    if (!_greatest || (frameNumber < *_greatest && later && !overtaken)) {
        const Follows follows = _greatest ? Follows::anew : Follows::first;
        beginSequence(frameNumber);
        return follows;
    }
    if (frameNumber <= *_greatest) return addLate(frameNumber);
    if (frameNumber > *_greatest + 1) {
        _missing.emplace(*_greatest + 1, frameNumber - 1);
        _lost += frameNumber - *_greatest - 1;
    }
    _greatest = frameNumber;
    if (_missing.size() > kMaxRanges) {
        const auto oldest = _missing.begin();
        settle({oldest->first, oldest->second});
        _missing.erase(oldest);
    }
    return Follows::ahead;
}

void SequenceCheck::beginSequence(std::uint64_t frameNumber) {
    for (const auto& [first, last] : _missing) settle({first, last});
    _missing.clear();
    _first = frameNumber;
    _greatest = frameNumber;
}

void SequenceCheck::settle(const FrameRange& range) {
    if (_settled.size() < kMaxRanges) {
        _settled.push_back(range);
        return;
    }
    ++_omittedRanges;
    _omittedFrames += range.frames();
}

bool SequenceCheck::isMissing(std::uint64_t frameNumber) const {
    const auto range = _missing.upper_bound(frameNumber);
    return range != _missing.begin() && frameNumber <= std::prev(range)->second;
}

Follows SequenceCheck::addLate(std::uint64_t frameNumber) {
    if (!isMissing(frameNumber)) {
        if (frameNumber >= _first) {
            ++_repeated;
            return Follows::repeated;
        }
        ++_reordered;
        return Follows::reordered;
    }
    const auto range = std::prev(_missing.upper_bound(frameNumber));
    const auto [from, to] = *range;
    _missing.erase(range);
    if (from < frameNumber) _missing.emplace(from, frameNumber - 1);
    if (frameNumber < to) _missing.emplace(frameNumber + 1, to);
    --_lost;
    ++_reordered;
    return Follows::reordered;
}

}  // namespace host
