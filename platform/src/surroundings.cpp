#include "surroundings.h"

#include "process_environment.h"

namespace options {

std::string variableIn(const std::vector<std::string>& environment, const std::string& name) {
    for (const std::string& entry : environment) {
        if (entry.starts_with(name + '=')) return entry.substr(name.size() + 1);
    }
    return "";
}

Surroundings surroundingsOfProcess() {
    const std::vector<std::string> environment = processEnvironment();
    return {environment, configFolderIn(environment)};
}

}  // namespace options
