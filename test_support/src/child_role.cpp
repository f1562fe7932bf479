#include <atomic>
#include <cstdio>
#include <map>

#include <gtest/gtest.h>

#include "child_process.h"
#include "platform.h"

namespace test {
namespace {

const char kRoleOption[] = "--child-role";

std::map<std::string, RoleFunction>& roles() {
    static std::map<std::string, RoleFunction> all;
    return all;
}

}  // namespace

RoleRegistration::RoleRegistration(const char* name, RoleFunction function) { roles().emplace(name, function); }

ChildProcess::ChildProcess(const std::string& role, const Arguments& arguments) {
    Arguments all{kRoleOption, role};
    all.insert(all.end(), arguments.begin(), arguments.end());
    start(programPath(), all);
}

ChildProcess ChildProcess::program(const std::string& path, const Arguments& arguments) {
    ChildProcess child;
    child.start(path, arguments);
    return child;
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : _process(other._process) { other._process = nullptr; }

ChildProcess::~ChildProcess() {
    if (!_process || wait(std::chrono::milliseconds(0))) return;
    terminate();
    ADD_FAILURE() << "a child process was still running at the end of its test";
}

int ChildProcess::join(std::chrono::milliseconds limit) {
    if (const auto exitCode = ended(limit)) return *exitCode;
    terminate();
    ADD_FAILURE() << "a child process did not end in time";
    return -1;
}

void ChildProcess::kill() { terminate(); }

bool ChildProcess::running() { return _process && !ended(std::chrono::milliseconds(0)); }

std::optional<int> ChildProcess::ended(std::chrono::milliseconds limit) {
    if (_process) _exitCode = wait(limit);
    return _exitCode;
}

std::optional<int> runRole(int argc, char** argv) {
    if (argc < 3 || std::string(argv[1]) != kRoleOption) return std::nullopt;
    const auto role = roles().find(argv[2]);
    if (role == roles().end()) {
        std::fprintf(stderr, "no child role %s\n", argv[2]);
        return 99;
    }
    return role->second(Arguments(argv + 3, argv + argc));
}

std::string programPath() {
    char name[1024] = {};
    GetModuleFileNameA(nullptr, name, sizeof name - 1);
    return name;
}

std::string programFolder() {
    const std::string path = programPath();
    return path.substr(0, path.find_last_of("\\/") + 1);
}

std::string uniqueName(const std::string& stem) {
    static std::atomic<int> count{0};
    return stem + "_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(++count);
}

}  // namespace test
