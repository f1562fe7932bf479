// The variables of this process.
#pragma once

#include <string>
#include <vector>

/// NAME=VALUE each, in the encoding in which the program gets its arguments.
std::vector<std::string> platform_processEnvironment();
