// A second process for tests: this same program again, in a role that a test file defines.
//
//   CHILD_ROLE(writesHundredLines) { return writeLines(arguments.at(0), 100) ? 0 : 1; }
//   …
//   test::ChildProcess writer("writesHundredLines", {name});
//   EXPECT_EQ(writer.join(60s), 0);
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace test {

using Arguments = std::vector<std::string>;

/// A running child. If it still runs when the object is destroyed, it is killed and the test fails.
class ChildProcess {
public:
    /// Starts this program in a role (CHILD_ROLE) with further arguments.
    ChildProcess(const std::string& role, const Arguments& arguments = {});

    /// Starts any program. On Windows a name without a folder is searched next to this program.
    static ChildProcess program(const std::string& path, const Arguments& arguments);

    ~ChildProcess();
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;

    /// Waits for its end. Returns its exit code; -1, after killing it and failing the test, when it is late.
    int join(std::chrono::milliseconds limit);

    /// Ends it at once, like a crash. Waits until it is gone.
    void kill();

    bool running();

private:
    ChildProcess() = default;
    void start(const std::string& path, const Arguments& arguments);
    std::optional<int> ended(std::chrono::milliseconds limit);  // exit code, or none when still running
    std::optional<int> wait(std::chrono::milliseconds limit);   // for a process that was not yet seen to have ended
    void terminate();

    void* _process = nullptr;      // process handle, or process id
    std::optional<int> _exitCode;  // once it was seen to have ended
};

/// Full path of this test program, and its folder with a separator, which also contains what it loads.
std::string programPath();
std::string programFolder();

using RoleFunction = int (*)(const Arguments& arguments);

/// Registers a role; used by CHILD_ROLE.
struct RoleRegistration {
    RoleRegistration(const char* name, RoleFunction function);
};

/// Runs the role that the command line names; none when it names none.
std::optional<int> runRole(int argc, char** argv);

/// A name for objects that no other test uses, built from the running test's name, the process and a count.
std::string uniqueName(const std::string& stem);

}  // namespace test

#define CHILD_ROLE(name)                                                             \
    static int childRole_##name(const test::Arguments& arguments);                   \
    static const test::RoleRegistration childRoleOf_##name(#name, childRole_##name); \
    static int childRole_##name([[maybe_unused]] const test::Arguments& arguments)
