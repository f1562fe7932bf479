// A separate folder for a test, removed with all its files at the end.
#pragma once

#include <filesystem>
#include <string>

namespace test {

class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string path() const { return _path.string(); }

    /// Path of an entry in it; '/' separates further folders, which are created.
    std::string path(const std::string& name) const;

    /// Writes a file, byte for byte. @return Its path.
    std::string file(const std::string& name, const std::string& content) const;

private:
    std::filesystem::path _path;
};

}  // namespace test
