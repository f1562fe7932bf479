// parseScenario with any text: accepted, or refused for a reason that a terminal can show; an accepted one can also be
// written as an option.
#include "scenario.h"

#include <algorithm>
#include <string>

#include "fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    std::string error;
    const auto scenario = simulator::parseScenario(text, error);
    fuzzExpect(scenario.has_value() == error.empty(), "a refusal without a reason, or a reason without one");
    fuzzExpect(std::ranges::none_of(error, [](char character) { return character >= 0 && character < ' '; }),
               "a reason that a terminal obeys");
    if (!scenario) return 0;
    fuzzExpect(!scenario->seed || *scenario->seed <= std::uint64_t{1} << 53, "a seed that JSON does not keep");
    for (const simulator::FaultRequest& fault : scenario->faults) {
        const auto again = simulator::parseFault(fault.text, error);
        fuzzExpect(again && again->kind == fault.kind && again->timeNs == fault.timeNs, "a fault reads differently");
    }
    return 0;
}
