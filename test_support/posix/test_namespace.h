// Gives a test process and its children separate named objects, so that tests run in parallel.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "object_look.h"

namespace test {

class ObjectNamespace {
public:
    ObjectNamespace() {
        const char* const given = std::getenv(kVariable);
        if (given && *given) return;  // a child: uses its parent's
        _name = "test-" + std::to_string(::getpid());
        ::setenv(kVariable, _name.c_str(), 1);
    }
    ~ObjectNamespace() {
        if (_name.empty()) return;
        const std::filesystem::path folder = platform_lookAtObjectFolder().path;
        std::error_code ignored;
        if (!folder.empty()) std::filesystem::remove_all(folder.parent_path() / _name, ignored);
    }
    ObjectNamespace(const ObjectNamespace&) = delete;
    ObjectNamespace& operator=(const ObjectNamespace&) = delete;

private:
    static constexpr const char* kVariable = "PLATFORM_OBJECT_NAMESPACE";
    std::string _name;
};

}  // namespace test
