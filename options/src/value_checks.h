// Checks for every option.
#pragma once

#include <CLI/CLI.hpp>

namespace options {

/// Makes every named option refuse an empty value, as left by a script's unset variable, and every flag refuse
/// everything except true, false and their usual synonyms. The option's own checks come first.
void addValueChecks(CLI::App& app);

}  // namespace options
