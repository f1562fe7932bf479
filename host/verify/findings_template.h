// A form of findings for hosts that are not this one: what "verify --findings" reads of them.
#pragma once

#include <ostream>

namespace host {

/// Prints a JSON object as "verify --findings" reads it, with an example of each kind of finding.
/// docs/findings.schema.json describes it.
void printFindingsTemplate(std::ostream& data);

}  // namespace host
