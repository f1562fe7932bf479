// A grab's findings, read from what "grab --json" or "grab --json-lines" printed.
#pragma once

#include <string>
#include <string_view>

#include "fault_match.h"

namespace host {

/// @param text      A JSON object, or lines of which the last one is the object.
/// @param evidence  Set only on success.
/// @return          false, with the reason, when the text is no such result or cannot be compared: findings were left
///                  out, or the simulator restarted.
bool readSavedFindings(std::string_view text, GrabEvidence& evidence, std::string& error);

/// Reads the file. @return false, with file and reason, as above and when it cannot be read or has more than 256 MiB.
bool readSavedFindingsFile(const std::string& path, GrabEvidence& evidence, std::string& error);

/// Why a grab with these numbers cannot be compared with one log; empty: it can.
std::string problemOfEvidence(std::uint64_t findingsOmitted, std::uint64_t restarts);

}  // namespace host
