// The program dorven-simulator.
#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "faults.h"
#include "simulator_options.h"

namespace simulator {

/// The whole program: command line, images, run.
/// @return  Exit code.
int simulatorMain(int argc, const char* const* argv);

/// Opens the faults of a run's options (Faults::open).
std::unique_ptr<Faults> openFaults(const SimulatorOptions& options, std::ostream& people, std::string& error);

}  // namespace simulator
