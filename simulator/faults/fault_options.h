// The options for faults.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fault_request.h"

namespace simulator {

struct FaultOptions {
    std::vector<FaultRequest> requests;  // --fault
    std::string scenarioFile;            // --scenario; empty: not given
    std::string logFile;                 // --fault-log; empty: not given
    std::optional<std::uint64_t> seed;   // --seed
    bool off = false;                    // --no-faults
};

}  // namespace simulator
