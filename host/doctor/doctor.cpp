#include "doctor.h"

#include <algorithm>
#include <string_view>

#include <nlohmann/json.hpp>

#include "doctor_checks.h"
#include "printable.h"

namespace host {
namespace {

constexpr const char* kSchema = "dorven-doctor/1";
constexpr std::size_t kMaxRemedies = 3;  // in one line

constexpr const char* kLevelNames[] = {"ok", "warning", "problem"};  // in the order of FindingLevel

const char* nameOf(FindingLevel level) { return kLevelNames[static_cast<std::size_t>(level)]; }

std::size_t countOf(const Findings& findings, FindingLevel level) {
    return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(),
                                                  [=](const Diagnosis& finding) { return finding.level == level; }));
}

std::string counted(std::size_t count, const char* what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

FindingLevel worstOf(const Findings& findings) {
    FindingLevel worst = FindingLevel::ok;
    for (const Diagnosis& finding : findings) worst = std::max(worst, finding.level);
    return worst;
}

// "none: …" tells that nothing is to be done.
bool isRemedy(const std::string& advice) { return !advice.empty() && !advice.starts_with("none"); }

// What to do, problems first; empty: nothing.
std::string remedyOf(const Findings& findings) {
    std::vector<std::string_view> told;
    for (const FindingLevel level : {FindingLevel::problem, FindingLevel::warning}) {
        for (const Diagnosis& finding : findings) {
            if (finding.level != level || !isRemedy(finding.advice)) continue;
            if (std::find(told.begin(), told.end(), finding.advice) == told.end()) told.push_back(finding.advice);
        }
    }
    std::string remedy;
    for (std::size_t index = 0; index < std::min(told.size(), kMaxRemedies); ++index)
        remedy.append(index == 0 ? "" : told[index].starts_with("or ") ? "; " : "; and: ").append(told[index]);
    return remedy;
}

std::string verdictOf(const Findings& findings, const std::string& remedy) {
    if (!remedy.empty()) return "To do: " + printable(remedy);
    if (worstOf(findings) == FindingLevel::ok) return "All is well: images can be grabbed.";
    const bool known = std::ranges::all_of(findings, [](const Diagnosis& finding) {
        return finding.level == FindingLevel::ok || !finding.advice.empty();
    });
    return known ? "Nothing needs to be done." : "See the warnings; no remedy is known for all of them.";
}

void printPeople(const Findings& findings, bool all, std::ostream& stream) {
    const std::string verdict = verdictOf(findings, remedyOf(findings));
    stream << verdict << "\n\n";
    for (const Diagnosis& finding : findings) {
        if (finding.isDetail && !all) continue;
        const std::string level = nameOf(finding.level);
        stream << level << std::string(9 - level.size(), ' ') << finding.check << ": " << printable(finding.found)
               << '\n';
        if (!finding.advice.empty()) stream << "         -> " << printable(finding.advice) << '\n';
    }
    stream << '\n'
           << counted(countOf(findings, FindingLevel::problem), "problem") << ", "
           << counted(countOf(findings, FindingLevel::warning), "warning") << ". " << verdict << std::endl;
}

void printJson(const Findings& findings, std::ostream& stream) {
    nlohmann::ordered_json object;
    object["schema"] = kSchema;
    object["result"] = nameOf(worstOf(findings));
    object["warnings"] = countOf(findings, FindingLevel::warning);
    object["problems"] = countOf(findings, FindingLevel::problem);
    nlohmann::ordered_json checks = nlohmann::ordered_json::array();
    for (const Diagnosis& finding : findings) {
        nlohmann::ordered_json check;
        check["check"] = finding.check;
        check["level"] = nameOf(finding.level);
        check["found"] = finding.found;
        check["advice"] =
            finding.advice.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(finding.advice);
        checks.push_back(std::move(check));
    }
    object["checks"] = std::move(checks);
    // File names may have any encoding.
    stream << object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
}

}  // namespace

Findings examine(const DoctorOptions& options) {
    Findings findings;
    examineLibrary(options.pluginPath, findings);
    const auto expected = examineConfiguration(options.configFile, findings);
    examineObjectFolder(findings);
    if (examineMaking(findings)) examineRoom(platform_lookAtRoom(), expected, findings);
    examineObjects(expected, findings);
    examineLog(findings);
    return findings;
}

int runDoctor(const DoctorOptions& options, std::ostream& data, std::ostream&) {
    const Findings findings = examine(options);
    if (options.json) {
        printJson(findings, data);
    } else {
        printPeople(findings, options.all, data);
    }
    return worstOf(findings) == FindingLevel::problem ? kExitFailed : kExitDone;
}

}  // namespace host
