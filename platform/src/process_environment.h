// The variables of this process.
#pragma once

#include <string>
#include <vector>

namespace options {

/// NAME=VALUE each, in the encoding in which the program gets its arguments.
std::vector<std::string> processEnvironment();

}  // namespace options
