// What was logged while the doctor looked.
#include "doctor_checks.h"
#include "program_log.h"

namespace host {

void examineLog(Findings& findings) {
    constexpr const char* kCheck = "log";
    const std::vector<options::LogLine> lines = options::programLog();
    if (lines.empty()) addDetail(findings, kCheck, "nothing was logged meanwhile");
    for (const options::LogLine& line : lines)
        add(findings, kCheck, line.isUsual ? FindingLevel::ok : FindingLevel::warning, line.text);
}

}  // namespace host
