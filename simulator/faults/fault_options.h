// The options that ask for faults.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fault_request.h"

namespace simulator {

struct FaultOptions {
    std::vector<FaultRequest> requests;  // --fault
    std::string scenarioFile;            // --scenario; empty: none
    std::string logFile;                 // --fault-log; empty: none
    std::optional<std::uint64_t> seed;   // --seed
    bool off = false;                    // --no-faults
};

}  // namespace simulator
