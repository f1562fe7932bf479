#include "findings.h"

#include <algorithm>
#include <string>
#include <tuple>

#include "fault_log_words.h"

namespace host {

namespace finding = frames::finding;

namespace {

constexpr int kMaxToldRanges = 100;

struct KindRow {
    FindingKind kind;
    const char* name;
    const char* label;  // for people
};

// clang-format off
constexpr KindRow kKinds[] = {
    {FindingKind::lost,      finding::kLost,      "lost frames"                                               },
    {FindingKind::repeated,  finding::kRepeated,  "repeated frames"                                           },
    {FindingKind::reordered, finding::kReordered, "reordered frames"                                          },
    {FindingKind::torn,      finding::kTorn,      "torn frames"                                               },
    {FindingKind::stale,     finding::kStale,     "stale frames, from before the grab or more than 1 s old"   },
    {FindingKind::format,    finding::kFormat,    "frames of another format, or without a strip unlike others"},
    {FindingKind::counter,   finding::kCounter,   "frames at which the record's counter jumped"               },
    {FindingKind::timeBack,  finding::kTimeBack,  "frames whose time stamp went back"                         },
    {FindingKind::late,      finding::kLate,      "late frames"                                               },
    {FindingKind::stopped,   finding::kStopped,   "nothing came from this frame on"                           },
};
// clang-format on
static_assert(std::size(kKinds) == kFindingKinds);

void tellKind(const FindingList& findings, const KindRow& row, std::ostream& people) {
    std::uint64_t told = 0;
    int ranges = 0;
    std::optional<FrameRange> open;  // neighbours are reported as one range
    const auto tell = [&] {
        if (!open || ++ranges > kMaxToldRanges) return;
        people << ' ' << rangeText(*open);
        told += open->frames();
    };
    for (const Finding& finding : findings.kept()) {
        if (finding.kind != row.kind) continue;
        if (open && open->last + 1 == finding.frames.first && open->last != UINT64_MAX) {
            open->last = finding.frames.last;
            continue;
        }
        tell();
        open = finding.frames;
    }
    tell();
    if (told < findings.frames(row.kind)) people << " and " << findings.frames(row.kind) - told << " more";
}

}  // namespace

const char* findingName(FindingKind kind) { return kKinds[static_cast<std::size_t>(kind)].name; }

std::optional<FindingKind> findingByName(std::string_view name) {
    for (const KindRow& row : kKinds)
        if (name == row.name) return row.kind;
    return std::nullopt;
}

void FindingList::add(const Finding& finding) {
    if (_kept.size() >= _capacity) return addOmitted(finding.kind, 1, finding.frames.frames());
    _frames[static_cast<std::size_t>(finding.kind)] += finding.frames.frames();
    _kept.push_back(finding);
}

void FindingList::addOmitted(FindingKind kind, std::uint64_t findings, std::uint64_t frames) {
    _frames[static_cast<std::size_t>(kind)] += frames;
    _omitted += findings;
}

void FindingList::add(const FindingList& other) {
    for (std::size_t kind = 0; kind < kFindingKinds; ++kind) _frames[kind] += other._frames[kind];
    _omitted += other._omitted;
    const std::size_t room = std::min(_capacity - _kept.size(), other._kept.size());
    _kept.insert(_kept.end(), other._kept.begin(), other._kept.begin() + static_cast<std::ptrdiff_t>(room));
    _omitted += other._kept.size() - room;
}

void FindingList::sort() {
    std::stable_sort(_kept.begin(), _kept.end(), [](const Finding& left, const Finding& right) {
        return std::tuple(left.frames.first, left.kind) < std::tuple(right.frames.first, right.kind);
    });
}

void tellFindings(const FindingList& findings, std::ostream& people) {
    for (const KindRow& row : kKinds) {
        if (findings.frames(row.kind) == 0) continue;
        people << row.label << ':';
        tellKind(findings, row, people);
        people << std::endl;
    }
}

}  // namespace host
