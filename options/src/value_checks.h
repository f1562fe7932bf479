// What no option takes, whichever it is.
#pragma once

#include <CLI/CLI.hpp>

namespace options {

/// Lets every named option refuse an empty value, which a script's unset variable leaves behind, and every flag all but
/// true and false and the usual words for them. What an option checks itself comes first.
void addValueChecks(CLI::App& app);

}  // namespace options
