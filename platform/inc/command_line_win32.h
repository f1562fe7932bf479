// The one text in which Windows hands a new process its arguments.
#pragma once

#include <string>
#include <vector>

/// For CreateProcessA: the C runtime of the new process takes it apart into the program and these arguments.
std::string platform_commandLineOf(const std::string& program, const std::vector<std::string>& arguments);
