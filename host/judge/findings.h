// What is wrong with the images of a grab, each finding with its frame numbers.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string_view>
#include <vector>

#include "frame_range.h"

namespace host {

enum class FindingKind { lost, repeated, reordered, torn, stale, format, counter, timeBack, late, stopped };
constexpr std::size_t kFindingKinds = 10;

/// Name as JSON and fault logs have it: "lost", "time_back".
const char* findingName(FindingKind kind);
/// none for a name that is none.
std::optional<FindingKind> findingByName(std::string_view name);

struct Finding {
    FindingKind kind = FindingKind::lost;
    FrameRange frames;                // of one frame but for lost ones; stopped: from its first frame on
    std::optional<double> latencyUs;  // of stale and late ones that arrived after the grab began

    bool operator==(const Finding&) const = default;
};

/// Findings in bounded memory: the first ones, and how many there were.
class FindingList {
public:
    explicit FindingList(std::size_t capacity) : _capacity(capacity) {}

    void add(const Finding& finding);

    /// Frames of a kind, also of findings that are not kept.
    std::uint64_t frames(FindingKind kind) const { return _frames[static_cast<std::size_t>(kind)]; }
    const std::vector<Finding>& kept() const { return _kept; }
    /// Findings that are not kept.
    std::uint64_t omitted() const { return _omitted; }
    /// Counts findings that somebody else left out.
    void addOmitted(FindingKind kind, std::uint64_t findings, std::uint64_t frames);
    /// Adds another list, with what it left out.
    void add(const FindingList& other);

    /// Orders what is kept by frame number, then kind.
    void sort();

private:
    std::size_t _capacity;
    std::vector<Finding> _kept;
    std::array<std::uint64_t, kFindingKinds> _frames{};
    std::uint64_t _omitted = 0;
};

/// One line for each kind that was found: "lost frames: 2 5-8 and 40 more". At most a hundred ranges of a kind.
/// @param findings  Sorted.
void tellFindings(const FindingList& findings, std::ostream& people);

}  // namespace host
