// dorven-simulator patterns: lists the patterns.
#pragma once

#include <ostream>

namespace simulator {

/// Writes a table, or with json one object on one line:
/// {"schema":"dorven-patterns/1","patterns":[{"name":…,"standard_name":…,"kind":"still|moving|measuring",
/// "digits":…,"description":…},…]}
void listPatterns(bool json, std::ostream& data);

}  // namespace simulator
