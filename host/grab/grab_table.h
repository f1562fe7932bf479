// A grab's results as a table for people.
#pragma once

#include <ostream>
#include <string>

#include "grab_report.h"

namespace host {

struct TableStyle {
    bool all = false;          // also counts that are 0 and what was not measured
    const char* micro = "us";  // how microseconds are written
};

/// Whether there is anything to print: no table stands for a grab that could not start, or to which no image came. The
/// reason has been told.
bool hasTable(const GrabReport& report);

/// How the grab went, such as "300 images, all verified, nothing lost": a line, or two where the end of the grab has no
/// room in it.
std::string grabVerdict(const GrabReport& report);

/// The verdict, then counts, times and rates. Times have one unit for all of them. At most 79 columns wide.
void printTable(const GrabReport& report, const TableStyle& style, std::ostream& stream);

}  // namespace host
