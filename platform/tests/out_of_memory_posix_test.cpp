// The first use of named objects in a process while each of its allocations fails once: no descriptor is lost. The
// tests have their own place, with leftovers of killed processes in it.
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "child_process.h"
#include "no_memory.h"
#include "object_folder_posix.h"
#include "object_parent_posix.h"
#include "platform.h"
#include "temporary_folder.h"

namespace fs = std::filesystem;

namespace {

constexpr int kMostAllocations = 1'000;
enum Answer { kept, lost, unusable, noneFailed };

int openDescriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

bool createAndClose(const std::string& name) {
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, name.c_str());
    return event && CloseHandle(event);
}

/// In a process that has not opened the folder yet.
Answer useWithFailing(int count, const std::string& name) {
    const int before = openDescriptors();
    test::failAllocation(count);
    createAndClose(name);
    const bool failed = test::allocationHasFailed();
    test::failAllocation(0);
    if (!failed) return noneFailed;
    if (!createAndClose(name)) return unusable;
    constexpr int kFolder = 1;  // stays open
    return openDescriptors() == before + kFolder ? kept : lost;
}

class FirstUseWithoutMemory : public testing::Test {
protected:
    FirstUseWithoutMemory() : _former(ObjectParent_Place()) {
        ObjectParent_Place() = {_root, std::chrono::seconds(20)};
    }
    ~FirstUseWithoutMemory() override { ObjectParent_Place() = _former; }

    static void makePrivate(const fs::path& folder) {
        fs::create_directories(folder);
        fs::permissions(folder, fs::perms::owner_all);
    }
    static void leaveBehind(const fs::path& folder) {
        makePrivate(folder);
        std::ofstream(folder / "left-behind-by-a-process-that-was-killed") << "left";
    }
    /// Leftovers whose names need memory to be examined: one in the own name space, one in another.
    static void litter(const fs::path& parent) {
        makePrivate(parent);
        leaveBehind(parent / ObjectFolder_Space());
        const fs::path unused = parent / "name-space-of-nobody-for-an-hour";
        leaveBehind(unused);
        fs::last_write_time(unused, fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    /// A forked child has let go of its parent's folder and opens it again.
    static void expectNoDescriptorIsLost(const fs::path& parent) {
        const std::string name = test::uniqueName("first");
        for (int count = 1; count < kMostAllocations; ++count) {
            litter(parent);
            const pid_t child = fork();
            if (child == 0) _exit(useWithFailing(count, name));
            int status = 0;
            while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
            ASSERT_TRUE(WIFEXITED(status)) << "allocation " << count;
            if (WEXITSTATUS(status) == noneFailed) return;
            ASSERT_EQ(WEXITSTATUS(status), kept) << "allocation " << count;
        }
        FAIL() << "no end of allocations";
    }

    test::TemporaryFolder _folder;
    std::string _root = fs::canonical(_folder.path());
    std::string _usual = _root + "/dorven-objects-" + std::to_string(geteuid());
    ObjectPlace _former;
};

}  // namespace

TEST_F(FirstUseWithoutMemory, LosesNoDescriptorWhileItSweeps) { expectNoDescriptorIsLost(_usual); }

TEST_F(FirstUseWithoutMemory, LosesNoDescriptorWhileItLooksForAFolderOfAnotherName) {
    std::ofstream(_usual) << "taken";
    expectNoDescriptorIsLost(_usual + "-spare");
}
