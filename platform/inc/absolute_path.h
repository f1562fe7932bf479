// Full names of files.
#pragma once

#include <string>

namespace host {

/// The path from the root on, in the encoding in which it came; itself when it cannot be told.
std::string absolutePath(const std::string& path);

}  // namespace host
