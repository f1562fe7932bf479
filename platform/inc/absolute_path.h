// Full names of files.
#pragma once

#include <string>

/// The absolute path, in the same encoding; the path itself when the system cannot determine it.
std::string platform_absolutePath(const std::string& path);
