// A grab's results as a table for people and as JSON for programs.
#pragma once

#include <ostream>

#include "grab_statistics.h"

namespace host {

/// Version of the JSON objects that the host prints; rises when a key changes its meaning or goes.
constexpr int kJsonSchema = 1;

/// One line per number, with its unit; "-" where nothing was measured.
void printTable(const GrabResults& results, std::ostream& stream);

/// One flat object on one line. Numbers that were not measured are null.
void printJson(const GrabResults& results, std::ostream& stream);

}  // namespace host
