#include "temporary_folder.h"

#include <fstream>

#include "child_process.h"

namespace test {

TemporaryFolder::TemporaryFolder() : _path(std::filesystem::temp_directory_path() / uniqueName("dorven_test")) {
    std::filesystem::remove_all(_path);
    std::filesystem::create_directories(_path);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

std::string TemporaryFolder::path(const std::string& name) const {
    const std::filesystem::path full = _path / name;
    std::filesystem::create_directories(full.parent_path());
    return full.string();
}

std::string TemporaryFolder::file(const std::string& name, const std::string& content) const {
    const std::string full = path(name);
    std::ofstream(full, std::ios::binary) << content;
    return full;
}

}  // namespace test
