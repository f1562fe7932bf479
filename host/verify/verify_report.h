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
    bool matched;            // one to one, as requested
    const GrabReport* grab;  // null: there was no grab
    std::string problem{};   // why nothing was compared; empty: log and match are those of a comparison
};

/// The verdict, a line for what was counted, and one for each fault that was missed and each finding that was not
/// injected (a hundred of each at most).
void tellVerify(const VerifyReport& report, std::ostream& people);

/// One object on one line; its lists have at most ten thousand entries. Numbers of a comparison that did not take place
/// are null.
/// @param asEvent  As a line of --json-lines: with the event "verify" and without the grab, which has its own line.
void printVerifyJson(const VerifyReport& report, bool asEvent, std::ostream& data);

}  // namespace host
