// Full names of files.
#pragma once

#include <string>

/// The path from the root on, in the encoding in which it came; itself when it cannot be told.
std::string platform_absolutePath(const std::string& path);
