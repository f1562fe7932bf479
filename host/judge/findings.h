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

using frames::FrameRange;

enum class FindingKind { lost, repeated, reordered, torn, stale, format, counter, timeBack, late, stopped };
constexpr std::size_t kFindingKinds = 10;

/// Name in JSON and fault logs: "lost", "time_back".
const char* findingName(FindingKind kind);
/// None for an unknown name.
std::optional<FindingKind> findingByName(std::string_view name);

struct Finding {
    FindingKind kind = FindingKind::lost;
    FrameRange frames;                // one frame, except for lost ones; stopped: from its first frame on
    std::optional<double> latencyUs;  // for stale and late images that arrived after the grab began

    bool operator==(const Finding&) const = default;
};

/// Findings in bounded memory: the first ones, and the number of all.
class FindingList {
public:
    explicit FindingList(std::size_t capacity) : _capacity(capacity) {}

    void add(const Finding& finding);

    /// Number of frames of a kind, including findings that are not stored.
    std::uint64_t frames(FindingKind kind) const { return _frames[static_cast<std::size_t>(kind)]; }
    const std::vector<Finding>& kept() const { return _kept; }
    /// Number of findings that are not stored.
    std::uint64_t omitted() const { return _omitted; }
    /// Counts findings that somebody else has left out.
    void addOmitted(FindingKind kind, std::uint64_t findings, std::uint64_t frames);
    /// Adds another list, including the number of those that it left out.
    void add(const FindingList& other);

    /// Sorts the stored findings by frame number, then kind.
    void sort();

private:
    std::size_t _capacity;
    std::vector<Finding> _kept;
    std::array<std::uint64_t, kFindingKinds> _frames{};
    std::uint64_t _omitted = 0;
};

/// One line per kind found: "lost frames: 2 5-8 and 40 more". At most a hundred ranges of a kind.
/// @param findings  Sorted.
void tellFindings(const FindingList& findings, std::ostream& people);

}  // namespace host
