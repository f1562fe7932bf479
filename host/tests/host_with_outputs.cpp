// The child role hostWithOutputs: arguments are the files for standard output and standard error, then the host's own.
#include <cstdio>
#include <vector>

#include "child_process.h"
#include "host.h"

namespace {

// The host's own main with its outputs in files, which works the same on both systems.
CHILD_ROLE(hostWithOutputs) {
    if (!std::freopen(arguments.at(0).c_str(), "w", stdout) || !std::freopen(arguments.at(1).c_str(), "w", stderr))
        return 98;
    std::vector<const char*> argv{"dorven-host"};
    for (std::size_t index = 2; index < arguments.size(); ++index) argv.push_back(arguments[index].c_str());
    return host::hostMain(static_cast<int>(argv.size()), argv.data());
}

}  // namespace
