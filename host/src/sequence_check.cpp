#include "sequence_check.h"

#include <algorithm>

namespace host {

void SequenceCheck::add(std::uint64_t frameNumber, std::uint64_t timeStampNs) {
    const bool later = timeStampNs > _latestTimeStampNs;
    _latestTimeStampNs = std::max(_latestTimeStampNs, timeStampNs);
    if (!_greatest || (frameNumber < *_greatest && later)) {
        beginSequence(frameNumber);
    } else if (frameNumber <= *_greatest) {
        addLate(frameNumber);
    } else {
        if (frameNumber > *_greatest + 1) {
            _missing.emplace(*_greatest + 1, frameNumber - 1);
            _lost += frameNumber - *_greatest - 1;
        }
        _greatest = frameNumber;
    }
}

void SequenceCheck::beginSequence(std::uint64_t frameNumber) {
    _missing.clear();
    _first = frameNumber;
    _greatest = frameNumber;
}

void SequenceCheck::addLate(std::uint64_t frameNumber) {
    auto range = _missing.upper_bound(frameNumber);
    const bool wasMissing = range != _missing.begin() && frameNumber <= (--range)->second;
    if (!wasMissing) {
        ++(frameNumber < _first ? _reordered : _repeated);
        return;
    }
    const auto [from, to] = *range;
    _missing.erase(range);
    if (from < frameNumber) _missing.emplace(from, frameNumber - 1);
    if (frameNumber < to) _missing.emplace(frameNumber + 1, to);
    --_lost;
    ++_reordered;
}

}  // namespace host
