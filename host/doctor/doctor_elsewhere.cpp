// Simulators where this program cannot see them.
#include <algorithm>
#include <cctype>

#include "doctor_checks.h"

namespace host {
namespace {

constexpr const char* kCheck = "programs";
constexpr const char* kVariable = "PLATFORM_OBJECT_NAMESPACE";
constexpr const char* kUsualSpace = "default";  // that of a program without the variable
constexpr std::size_t kMaxTold = 3;

std::string settingOf(const std::string& space) {
    if (space == kUsualSpace) return std::string("without ") + kVariable;
    const bool isPlain =
        std::ranges::all_of(space, [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == '-'; });
    return std::string("with ") + kVariable + "=" + (isPlain ? space : "'" + space + "'");
}

}  // namespace

void tellElsewhere(const ObjectsElsewhere& elsewhere, Findings& findings) {
    for (std::size_t index = 0; index < std::min(elsewhere.spaces.size(), kMaxTold); ++index) {
        const std::string& space = elsewhere.spaces[index];
        add(findings, kCheck, FindingLevel::warning,
            "a simulator runs in name space \"" + space + "\"; this program looks in \"" + elsewhere.ownSpace + "\"",
            "or start the host " + settingOf(space) + " to use that simulator");
    }
    if (elsewhere.spaces.size() > kMaxTold)
        add(findings, kCheck, FindingLevel::ok,
            "simulators run in " + std::to_string(elsewhere.spaces.size() - kMaxTold) + " more name spaces");
    for (std::size_t index = 0; index < std::min(elsewhere.folders.size(), kMaxTold); ++index) {
        const ObjectsElsewhere::Folder& folder = elsewhere.folders[index];
        add(findings, kCheck, FindingLevel::warning,
            folder.path + " belongs to " + folder.owner +
                (folder.isForeign ? " and was made in a container: if a simulator runs there, it"
                                  : ": if a simulator of that user runs, it") +
                " cannot be reached from here",
            folder.isForeign ? "none, unless you want that simulator: then run host and simulator in one container"
                             : "none, unless you want that simulator: then run host and simulator as one user");
    }
    if (elsewhere.folders.size() > kMaxTold)
        add(findings, kCheck, FindingLevel::ok,
            std::to_string(elsewhere.folders.size() - kMaxTold) + " more folders belong to other users or containers");
}

}  // namespace host
