// The child roles hostWithOutputs and simulatorWithOutputs. Arguments: the files for standard output and standard
// error, then the program's own arguments.
#include <cstdio>
#include <vector>

#include "child_process.h"
#include "host.h"
#include "simulator_program.h"

namespace {

using Main = int (*)(int argc, const char* const* argv);

// Runs the program's own main with its outputs in files, which works the same on both systems.
int runWithOutputs(Main programsMain, const char* name, const test::Arguments& arguments) {
    if (!std::freopen(arguments.at(0).c_str(), "w", stdout) || !std::freopen(arguments.at(1).c_str(), "w", stderr))
        return 98;
    std::vector<const char*> argv{name};
    for (std::size_t index = 2; index < arguments.size(); ++index) argv.push_back(arguments[index].c_str());
    return programsMain(static_cast<int>(argv.size()), argv.data());
}

CHILD_ROLE(hostWithOutputs) { return runWithOutputs(host::hostMain, "dorven-host", arguments); }

CHILD_ROLE(simulatorWithOutputs) { return runWithOutputs(simulator::simulatorMain, "dorven-simulator", arguments); }

}  // namespace
