#include "verify_report.h"

#include <algorithm>

#include "fault_log_words.h"
#include "grab_json.h"
#include "grab_table.h"

namespace host {
namespace {

namespace words = frames::fault_log;

constexpr const char* kSchema = "dorven-verify/2";

using Json = nlohmann::ordered_json;

constexpr std::size_t kMaxTold = 100;
constexpr std::size_t kMaxPrinted = 10'000;

struct CountRow {
    const char* key;
    std::uint64_t FaultMatch::*value;
};
// clang-format off
constexpr CountRow kCounts[] = {
    {"injected",              &FaultMatch::injected          },
    {"found",                 &FaultMatch::found             },
    {"missed",                &FaultMatch::missed            },
    {"out_of_sight",          &FaultMatch::outOfSight        },
    {"invisible",             &FaultMatch::invisible         },
    {"findings_out_of_sight", &FaultMatch::findingsOutOfSight},
};
// clang-format on

struct NoteRow {
    const char* name;
    const char* meaning;
};
// clang-format off
constexpr NoteRow kNotes[] = {
    {words::kRefused,     "the ring was full, the host was too slow"                     },
    {words::kSkipped,     "the simulator was too late"                                   },
    {words::kRingLaid,    "they waited unread when the ring was laid anew"               },
    {words::kRingDamaged, "they waited unread when the ring was recreated, as another "
                          "process had overwritten its header"                           },
};
// clang-format on

std::string meaningOf(const std::string& note) {
    const auto* const row =
        std::find_if(std::begin(kNotes), std::end(kNotes), [&](const NoteRow& known) { return note == known.name; });
    return row == std::end(kNotes) ? note : note + ": " + row->meaning;
}

std::string textOf(FindingKind kind, const FrameRange& frames) {
    return std::string(findingName(kind)) + ' ' + rangeText(frames);
}

template <typename List, typename Tell>
void tellEach(const List& list, std::ostream& people, const char* what, Tell&& tell) {
    for (std::size_t index = 0; index < std::min(list.size(), kMaxTold); ++index) tell(list[index]);
    if (list.size() > kMaxTold) people << what << ": " << list.size() - kMaxTold << " more\n";
}

Json jsonOf(const MissedFault& missed) {
    Json object;
    object["fault"] = missed.fault->name;
    object["frame"] = missed.fault->frame;
    object["line"] = missed.fault->line;
    object["finding"] = findingName(missed.kind);
    object["first"] = missed.frames.first;
    if (missed.kind != FindingKind::stopped) object["last"] = missed.frames.last;
    if (missed.kind == FindingKind::late) object["min_us"] = missed.minUs;
    return object;
}

Json jsonOf(const UninjectedFinding& uninjected) {
    Json object = findingJson(uninjected.finding);
    object["because"] = uninjected.because.empty() ? Json(nullptr) : Json(uninjected.because);
    return object;
}

template <typename List>
Json listOf(const List& list) {
    Json array = Json::array();
    for (std::size_t index = 0; index < std::min(list.size(), kMaxPrinted); ++index)
        array.push_back(jsonOf(list[index]));
    return array;
}

template <typename List>
std::size_t omittedOf(const List& list) {
    return list.size() - std::min(list.size(), kMaxPrinted);
}

}  // namespace

void tellVerify(const VerifyReport& report, std::ostream& people) {
    const FaultMatch& match = report.match;
    people << (report.matched ? "the host found what was injected, and nothing else\n"
                              : "what the host found is not what was injected\n");
    people << "injected " << match.injected << " faults (seed " << report.log.seed << "): found " << match.found
           << ", missed " << match.missed << ", out of the host's sight " << match.outOfSight
           << ", not visible in images " << match.invisible << '\n';
    tellEach(match.missing, people, "missed", [&](const MissedFault& missed) {
        people << "missed: " << missed.fault->name << " at frame " << missed.fault->frame << " (line "
               << missed.fault->line << "): " << textOf(missed.kind, missed.frames) << '\n';
    });
    tellEach(match.uninjected, people, "not injected", [&](const UninjectedFinding& uninjected) {
        people << "not injected: " << textOf(uninjected.finding.kind, uninjected.finding.frames);
        if (!uninjected.because.empty()) people << " (" << meaningOf(uninjected.because) << ')';
        people << '\n';
    });
    if (report.grab && hasTable(*report.grab)) people << '\n';
    people << std::flush;
}

void printVerifyJson(const VerifyReport& report, bool asEvent, std::ostream& data) {
    const auto orNull = [&report](auto value) { return report.problem.empty() ? Json(value) : Json(nullptr); };
    Json object;
    object["schema"] = kSchema;
    if (asEvent) object["event"] = "verify";
    object["fault_log"] = report.logPath;
    object["seed"] = orNull(report.log.seed);
    object["matched"] = report.matched;
    object["problem"] = report.problem.empty() ? Json(nullptr) : Json(report.problem);
    for (const CountRow& row : kCounts) object[row.key] = orNull(report.match.*row.value);
    object["not_injected"] = orNull(report.match.uninjected.size());
    object["explained"] = orNull(report.match.explained());
    object["missed_faults"] = listOf(report.match.missing);
    object["not_injected_findings"] = listOf(report.match.uninjected);
    object["lists_omitted"] = omittedOf(report.match.missing) + omittedOf(report.match.uninjected);
    if (!asEvent) object["grab"] = report.grab ? grabJson(*report.grab) : Json(nullptr);
    // A path may contain bytes that are not UTF-8.
    data << object.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
}

}  // namespace host
