// A script of faults in a JSON file, which may change while the simulator runs. docs/faults.md and
// scenarios/scenario.schema.json describe it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fault_request.h"
#include "regular_file.h"

namespace simulator {

struct Scenario {
    std::string description;            // for people; may be empty
    std::optional<std::uint64_t> seed;  // none: as in the options
    std::vector<FaultRequest> faults;
};

/// Reads a scenario from its text.
/// @return  None, with the place and the reason, when it is not JSON, is nested too deeply, has an unknown or a missing
///          entry, or an impossible fault.
std::optional<Scenario> parseScenario(const std::string& text, std::string& error);

/// Reads a whole regular file of at most 1 MB.
/// @return  None, with the file's name and the reason, on failure.
std::optional<std::string> readScenarioFile(const std::string& path, std::string& error);

/// The same for an open file.
/// @param path  For the reason.
std::optional<std::string> readScenario(RegularFile& file, const std::string& path, std::string& error);

}  // namespace simulator
