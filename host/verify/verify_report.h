// A comparison with a fault log, for people and as JSON.
#pragma once

#include <ostream>
#include <string>

#include "fault_match.h"
#include "grab_report.h"

namespace host {

struct VerifyReport {
    std::string logPath;
    const FaultLog& log;
    const FaultMatch& match;
    bool matched;            // one to one, as was asked
    const GrabReport* grab;  // null: none was made
    std::string problem{};   // why nothing was compared; empty: log and match are those of a comparison
};

/// The verdict, a line for what was counted, and one for each fault that was missed and each finding that was not
/// injected (a hundred of each at most).
void tellVerify(const VerifyReport& report, std::ostream& people);

/// One object on one line; its lists have ten thousand entries at most. Numbers of a comparison that was not made are
/// null.
/// @param asEvent  As a line of --json-lines: with the event "verify" and without the grab, which has its own.
void printVerifyJson(const VerifyReport& report, bool asEvent, std::ostream& data);

}  // namespace host
