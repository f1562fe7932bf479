// Gives a test process, with its children, named objects of its own, so that tests run in parallel.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace test {

class ObjectNamespace {
public:
    ObjectNamespace() {
        if (std::getenv(kVariable)) return;  // a child: its parent's
        _name = "test-" + std::to_string(::getpid());
        ::setenv(kVariable, _name.c_str(), 1);
    }
    ~ObjectNamespace() {
        if (_name.empty()) return;
        std::error_code ignored;
        std::filesystem::remove_all("/dev/shm/dorven-objects-" + std::to_string(::geteuid()) + "/" + _name, ignored);
    }
    ObjectNamespace(const ObjectNamespace&) = delete;
    ObjectNamespace& operator=(const ObjectNamespace&) = delete;

private:
    static constexpr const char* kVariable = "PLATFORM_OBJECT_NAMESPACE";
    std::string _name;
};

}  // namespace test
