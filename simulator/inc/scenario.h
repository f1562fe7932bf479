// A script of faults in a JSON file, which may change while the simulator runs. docs/faults.md and
// scenarios/scenario.schema.json describe it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fault_spec.h"

namespace simulator {

struct Scenario {
    std::string description;            // for people; may be empty
    std::optional<std::uint64_t> seed;  // none: as the options say
    std::vector<FaultSpec> faults;
};

/// Reads a scenario from its text.
/// @return  none, with the place and the reason, when it is no JSON, has an unknown or a missing entry, or a fault that
///          cannot be.
std::optional<Scenario> parseScenario(const std::string& text, std::string& error);

/// Reads a whole file of at most 1 MB.
/// @return  none, with the file's name and the reason.
std::optional<std::string> readScenarioFile(const std::string& path, std::string& error);

/// Looks now and then whether a file has become another one. One thread.
class ScenarioWatch {
public:
    /// @param text  What the file held when it was read.
    ScenarioWatch(std::string path, std::string text) : _path(std::move(path)), _text(std::move(text)) {}

    /// Looks, at most every 100 ms.
    /// @return  The file's new text, once: when two looks in a row saw the same, so that nothing is taken which is only
    ///          half written yet. A file that is missing for a moment, as while an editor replaces it, is no news.
    std::optional<std::string> look(std::int64_t nowNs);

private:
    std::string _path;
    std::string _text;                 // taken last
    std::optional<std::string> _seen;  // other than that, at the last look
    std::int64_t _nextLookNs = 0;
};

}  // namespace simulator
