#include "fault_match.h"

#include <algorithm>
#include <array>
#include <map>

#include "frame_range_set.h"

namespace host {
namespace {

constexpr double kStaleUs = 1e6;

// The common part of both ranges.
std::optional<FrameRange> common(const FrameRange& left, const FrameRange& right) {
    const FrameRange both{std::max(left.first, right.first), std::min(left.last, right.last)};
    if (both.first > both.last) return std::nullopt;
    return both;
}

// Frames at which a finding of a kind is possible in that sight.
std::optional<FrameRange> visible(FindingKind kind, const FrameRange& sight) {
    FrameRange range = sight;
    const bool needsOneBefore =
        kind == FindingKind::lost || kind == FindingKind::counter || kind == FindingKind::timeBack;
    if (needsOneBefore) {
        if (range.first == UINT64_MAX) return std::nullopt;
        ++range.first;
    }
    if (kind == FindingKind::lost) {
        if (range.last == 0) return std::nullopt;
        --range.last;
    }
    if (range.first > range.last) return std::nullopt;
    return range;
}

std::vector<FrameRange> outsideOf(const FrameRangeSet& set, const std::vector<FrameRange>& ranges) {
    std::vector<FrameRange> result;
    for (const FrameRange& range : ranges)
        for (const FrameRange& outside : set.outside(range)) result.push_back(outside);
    return result;
}

class Matcher {
public:
    Matcher(const FaultLog& log, const GrabEvidence& evidence) : _log(log), _evidence(evidence) {
        hideFrames();
        for (const Finding& finding : evidence.findings) take(finding);
    }

    FaultMatch run() {
        for (const InjectedFault& fault : _log.faults) judge(fault);
        judgeStop();
        for (const FindingKind kind :
             {FindingKind::lost, FindingKind::repeated, FindingKind::reordered, FindingKind::torn, FindingKind::format,
              FindingKind::counter, FindingKind::timeBack})
            for (const FrameRange& range : bag(kind).ranges()) tellUninjected(kind, range);
        tellUninjectedAges();
        return std::move(_match);
    }

private:
    enum class Verdict { found, missed, outOfSight };
    struct Age {
        FindingKind kind;  // late or stale
        double latencyUs;
        bool injected = false;
    };

    FrameRangeBag& bag(FindingKind kind) { return _bags[static_cast<std::size_t>(kind)]; }
    void hideFrames();
    void take(const Finding& finding);
    void judge(const InjectedFault& fault);
    Verdict judge(const InjectedFault& fault, const Expectation& expectation);
    Verdict judgeStop(const InjectedFault& fault, const Expectation& expectation);
    std::vector<FrameRange> takeFound(const Expectation& expectation, const FrameRange& range);
    std::vector<FrameRange> takeAged(const Expectation& expectation, const FrameRange& range);
    std::vector<FrameRange> missedOf(const Expectation& expectation, const FrameRange& absent);
    bool leadsTo(std::uint64_t announced) const;
    void judgeStop();
    void tellUninjected(FindingKind kind, const FrameRange& range);
    void tellUninjectedAges();

    const FaultLog& _log;
    const GrabEvidence& _evidence;
    FaultMatch _match;
    std::array<FrameRangeBag, kFindingKinds> _bags;  // findings that nothing explains yet
    std::multimap<std::uint64_t, Age> _ages;         // late and stale ones, by frame
    std::optional<std::uint64_t> _stop;              // first frame that was not received any more
    FrameRangeSet _ageless;                          // frames whose age no finding shows
    FrameRangeSet _undelivered;                      // frames of which the log says that they were not
    std::map<std::string, FrameRangeSet> _notes;
};

void Matcher::hideFrames() {
    for (const SimulatorNote& note : _log.notes) {
        _notes[note.name].add(note.frames);
        _undelivered.add(note.frames);
    }
    for (const InjectedFault& fault : _log.faults)
        for (const Expectation& expectation : fault.expect)
            if (expectation.kind == FindingKind::lost) _undelivered.add(expectation.frames);
}

void Matcher::take(const Finding& finding) {
    if (finding.kind == FindingKind::stopped) {
        _stop = finding.frames.first;
        return;
    }
    const bool beforeGrab = finding.kind == FindingKind::stale && !finding.latencyUs;
    if (beforeGrab || !_evidence.sight || !common(finding.frames, *_evidence.sight)) {
        ++_match.findingsOutOfSight;
    } else if (finding.kind == FindingKind::late || finding.kind == FindingKind::stale) {
        _ages.emplace(finding.frames.first, Age{finding.kind, finding.latencyUs.value_or(0)});
    } else {
        bag(finding.kind).add(finding.frames);
    }
    if (finding.kind == FindingKind::timeBack || finding.kind == FindingKind::reordered) _ageless.add(finding.frames);
}

void Matcher::judge(const InjectedFault& fault) {
    ++_match.injected;
    if (fault.expect.empty()) {
        ++_match.invisible;
        return;
    }
    bool found = false;
    bool missed = false;
    for (const Expectation& expectation : fault.expect) {
        const Verdict verdict = judge(fault, expectation);
        found = found || verdict == Verdict::found;
        missed = missed || verdict == Verdict::missed;
    }
    ++(missed ? _match.missed : found ? _match.found : _match.outOfSight);
}

Matcher::Verdict Matcher::judge(const InjectedFault& fault, const Expectation& expectation) {
    if (expectation.kind == FindingKind::stopped) return judgeStop(fault, expectation);
    if (!_evidence.sight) return Verdict::outOfSight;
    const auto sight = visible(expectation.kind, *_evidence.sight);
    const auto range = sight ? common(expectation.frames, *sight) : std::nullopt;
    if (!range) return Verdict::outOfSight;
    std::uint64_t hidden = 0;
    bool missed = false;
    for (const FrameRange& absent : takeFound(expectation, *range)) {
        std::uint64_t here = 0;
        for (const FrameRange& part : missedOf(expectation, absent)) {
            _match.missing.push_back({&fault, expectation.kind, part, expectation.minUs});
            here += part.frames();
            missed = true;
        }
        hidden += absent.frames() - here;
    }
    if (missed) return Verdict::missed;
    return hidden == range->frames() ? Verdict::outOfSight : Verdict::found;
}

// The part of the expectation that was not found.
std::vector<FrameRange> Matcher::takeFound(const Expectation& expectation, const FrameRange& range) {
    const bool aged = expectation.kind == FindingKind::late || expectation.kind == FindingKind::stale;
    return aged ? takeAged(expectation, range) : bag(expectation.kind).take(range);
}

// An image that is late by more than a second is stale: the same lateness.
std::vector<FrameRange> Matcher::takeAged(const Expectation& expectation, const FrameRange& range) {
    FrameRangeBag absent;
    absent.add(range);
    for (auto age = _ages.lower_bound(range.first); age != _ages.end() && age->first <= range.last; ++age) {
        const double latencyUs = age->second.latencyUs;
        const bool stale = age->second.kind == FindingKind::stale;
        if (expectation.kind == FindingKind::stale ? !stale : latencyUs < expectation.minUs) continue;
        // If it is stale for longer than the injected delay, there is another reason.
        if (!stale || expectation.kind == FindingKind::stale || latencyUs - expectation.minUs <= kStaleUs)
            age->second.injected = true;
        absent.take({age->first, age->first});
    }
    return absent.ranges();
}

// The frames without a finding that the host could have seen.
std::vector<FrameRange> Matcher::missedOf(const Expectation& expectation, const FrameRange& absent) {
    const FrameRange& sight = *_evidence.sight;
    if (expectation.kind == FindingKind::lost) return {absent};
    const bool late = expectation.kind == FindingKind::late;
    if (late && (!_evidence.lateFromUs || expectation.minUs < *_evidence.lateFromUs)) return {};
    std::vector<FrameRange> missed = _undelivered.outside(absent);
    if (late) missed = outsideOf(_ageless, missed);
    const bool repeated = expectation.kind == FindingKind::repeated;
    if (missed.empty() || (!repeated && expectation.kind != FindingKind::reordered)) return missed;
    // Its second half was on the way when the grab ended: the repetition, or the overtaken frame.
    const std::uint64_t edge = repeated || sight.last == 0 ? sight.last : sight.last - 1;
    FrameRange& last = missed.back();
    if (!repeated && last.has(edge)) bag(FindingKind::lost).take({edge, edge});
    if (last.last >= edge) {
        if (last.first >= edge) {
            missed.pop_back();
        } else {
            last.last = edge - 1;
        }
    }
    return missed;
}

// Whether all frames from the stop that was found to the announced one are reported as not delivered.
bool Matcher::leadsTo(std::uint64_t announced) const {
    return _stop && *_stop <= announced && (*_stop == announced || _undelivered.covers({*_stop, announced - 1}));
}

Matcher::Verdict Matcher::judgeStop(const InjectedFault& fault, const Expectation& expectation) {
    if (!_match.stopFound && leadsTo(expectation.frames.first)) {
        _match.stopFound = true;
        return Verdict::found;
    }
    const bool cameOn = _evidence.sight && _evidence.sight->last >= expectation.frames.first;
    if (!_stop && !cameOn) return Verdict::outOfSight;
    const std::uint64_t first = expectation.frames.first;
    _match.missing.push_back({&fault, FindingKind::stopped, {first, first}});
    return Verdict::missed;
}

void Matcher::judgeStop() {
    if (!_stop || _match.stopFound) return;
    if (_log.nextFrame && leadsTo(*_log.nextFrame)) {
        _match.stopFound = true;
        return;
    }
    _match.uninjected.push_back({{FindingKind::stopped, {*_stop, *_stop}, {}}, ""});
}

// Notes explain frames that were not delivered.
void Matcher::tellUninjected(FindingKind kind, const FrameRange& range) {
    std::vector<FrameRange> rest{range};
    const auto tell = [&](const std::vector<FrameRange>& parts, const std::string& because) {
        for (const FrameRange& part : parts) _match.uninjected.push_back({{kind, part, {}}, because});
    };
    if (kind == FindingKind::lost) {
        for (const auto& [name, frames] : _notes) {
            std::vector<FrameRange> without = outsideOf(frames, rest);
            FrameRangeSet unexplained;
            for (const FrameRange& part : without) unexplained.add(part);
            tell(outsideOf(unexplained, rest), name);
            rest = std::move(without);
        }
    }
    tell(rest, "");
}

void Matcher::tellUninjectedAges() {
    for (const auto& [frame, age] : _ages) {
        if (age.injected) continue;
        const double judgedFrom = _evidence.judgedFromUs.value_or(0);
        if (age.kind == FindingKind::late && !(_evidence.judgesLateness && age.latencyUs >= judgedFrom)) continue;
        _match.uninjected.push_back({{age.kind, {frame, frame}, age.latencyUs}, ""});
    }
}

}  // namespace

std::uint64_t FaultMatch::explained() const {
    return static_cast<std::uint64_t>(std::count_if(uninjected.begin(), uninjected.end(),
                                                    [](const UninjectedFinding& one) { return !one.because.empty(); }));
}

FaultMatch matchFaults(const FaultLog& log, const GrabEvidence& evidence) { return Matcher(log, evidence).run(); }

}  // namespace host
