#include "sequence_check.h"

#include <algorithm>

namespace host {
namespace {

constexpr std::size_t kMaxRanges = 100'000;

}  // namespace

Follows SequenceCheck::add(std::uint64_t frameNumber, std::uint64_t timeStampNs) {
    const bool later = timeStampNs > _latestTimeStampNs;
    _latestTimeStampNs = std::max(_latestTimeStampNs, timeStampNs);
    if (!_greatest || (frameNumber < *_greatest && later)) {
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

Follows SequenceCheck::addLate(std::uint64_t frameNumber) {
    auto range = _missing.upper_bound(frameNumber);
    const bool wasMissing = range != _missing.begin() && frameNumber <= (--range)->second;
    if (!wasMissing) {
        if (frameNumber >= _first) {
            ++_repeated;
            return Follows::repeated;
        }
        ++_reordered;
        return Follows::reordered;
    }
    const auto [from, to] = *range;
    _missing.erase(range);
    if (from < frameNumber) _missing.emplace(from, frameNumber - 1);
    if (frameNumber < to) _missing.emplace(frameNumber + 1, to);
    --_lost;
    ++_reordered;
    return Follows::reordered;
}

}  // namespace host
