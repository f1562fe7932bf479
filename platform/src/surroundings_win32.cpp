#include <cstring>

#include "platform.h"
#include "process_environment.h"
#include "surroundings.h"

std::vector<std::string> platform_processEnvironment() {
    std::vector<std::string> entries;
    char* const block = GetEnvironmentStringsA();
    for (const char* entry = block; entry && *entry; entry += std::strlen(entry) + 1) entries.emplace_back(entry);
    if (block) FreeEnvironmentStringsA(block);
    return entries;
}

std::string platform_configFolderIn(const std::vector<std::string>& environment) {
    const std::string folder = platform_variableIn(environment, "APPDATA");
    const bool absolute = folder.size() > 2 && (folder[1] == ':' || folder.starts_with("\\\\"));
    return absolute ? folder + "\\dorven\\" : "";
}
