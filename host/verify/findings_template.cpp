#include "findings_template.h"

#include <cstddef>
#include <cstdint>

#include "findings.h"
#include "grab_json.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::uint64_t kStep = 100;  // frames from one example to the next
constexpr std::uint64_t kLastFrame = kFindingKinds * kStep - 1;
constexpr double kLateFromUs = 20'000.0;

// Every kind at another frame: the last one, "stopped", right behind the last frame that came.
Finding exampleOf(FindingKind kind) {
    const std::uint64_t frame = (static_cast<std::uint64_t>(kind) + 1) * kStep;
    Finding finding{kind, {frame, frame}, {}};
    if (kind == FindingKind::lost) finding.frames.last += 2;
    if (kind == FindingKind::late) finding.latencyUs = kLateFromUs + 500.0;
    return finding;
}

}  // namespace

void printFindingsTemplate(std::ostream& data) {
    Json object;
    object["schema"] = kGrabSchema;
    object["first_frame"] = 0;
    object["last_frame"] = kLastFrame;
    object["restarts"] = 0;
    object["late_from_us"] = kLateFromUs;
    object["findings_omitted"] = 0;
    data << "{\n";
    for (const auto& [key, value] : object.items()) data << "  \"" << key << "\": " << value << ",\n";
    data << "  \"findings\": [\n";
    for (std::size_t kind = 0; kind < kFindingKinds; ++kind)
        data << "    " << findingJson(exampleOf(static_cast<FindingKind>(kind))).dump()
             << (kind + 1 < kFindingKinds ? ",\n" : "\n");
    data << "  ]\n}" << std::endl;
}

}  // namespace host
