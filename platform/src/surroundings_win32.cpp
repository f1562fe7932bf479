#include <cstring>

#include "platform.h"
#include "process_environment.h"
#include "surroundings.h"

namespace options {

std::vector<std::string> processEnvironment() {
    std::vector<std::string> entries;
    char* const block = GetEnvironmentStringsA();
    for (const char* entry = block; entry && *entry; entry += std::strlen(entry) + 1) entries.emplace_back(entry);
    if (block) FreeEnvironmentStringsA(block);
    return entries;
}

std::string configFolderIn(const std::vector<std::string>& environment) {
    const std::string folder = variableIn(environment, "APPDATA");
    const bool absolute = folder.size() > 2 && (folder[1] == ':' || folder.starts_with("\\\\"));
    return absolute ? folder + "\\dorven\\" : "";
}

}  // namespace options
