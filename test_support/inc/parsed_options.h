// A command line of the simulator, read for a test.
#pragma once

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "simulator_options.h"

namespace simulator::test {

struct Parsed {
    std::optional<int> exitCode;
    SimulatorOptions options;
    std::string data;
    std::string people;
};

inline Parsed parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "dorven-simulator");
    Parsed parsed;
    std::ostringstream data;
    std::ostringstream people;
    parsed.exitCode =
        parseSimulatorOptions(static_cast<int>(arguments.size()), arguments.data(), parsed.options, data, people);
    parsed.data = data.str();
    parsed.people = people.str();
    return parsed;
}

}  // namespace simulator::test
