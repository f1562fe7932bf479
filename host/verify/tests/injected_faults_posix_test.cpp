// Fault logs in forms that only Linux has.
#include <filesystem>

#include <gtest/gtest.h>

#include "injected_faults.h"
#include "temporary_folder.h"

namespace {

TEST(InjectedFaultsTest, ALogBehindWhatCannotBeFollowedIsNeverReadable) {
    const test::TemporaryFolder folder;
    const std::string circle = folder.path() + "/circle";
    std::filesystem::create_symlink(circle, circle);
    for (const std::string& path : {circle, folder.path() + '/' + std::string(300, 'x')}) {
        std::string problem;
        EXPECT_EQ(host::lookAtFaultLog(path, problem), host::FaultLogLook::never) << path;
        EXPECT_EQ(problem, path + ": cannot be read");
    }
}

}  // namespace
