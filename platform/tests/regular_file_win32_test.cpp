// Only on Windows: devices that seem to exist in every folder.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "platform.h"
#include "regular_file.h"
#include "temporary_folder.h"

namespace {

TEST(RegularFileWin32Test, DevicesAreRefused) {
    RegularFile file;
    std::string error;
    EXPECT_FALSE(file.open("NUL", error));
    EXPECT_EQ(error, "NUL: is no regular file");
}

class PipeLookTest : public ::testing::TestWithParam<DWORD> {};

TEST_P(PipeLookTest, APipeIsSeenBusyOrNotAndWhicheverWayItGoes) {
    const std::string name = "\\\\.\\pipe\\" + test::uniqueName("look");
    const HANDLE pipe = CreateNamedPipeA(name.c_str(), GetParam(), PIPE_TYPE_BYTE, 1, 100, 100, 0, nullptr);
    ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
    const bool inbound = GetParam() == PIPE_ACCESS_INBOUND;  // as seen from its creator
    EXPECT_TRUE(platform_lookAtFile(name.c_str()).other);
    DisconnectNamedPipe(pipe);
    const HANDLE other =
        CreateFileA(name.c_str(), inbound ? GENERIC_WRITE : GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_TRUE(platform_lookAtFile(name.c_str()).other) << "while somebody else has it";
    CloseHandle(other);
    CloseHandle(pipe);
}

INSTANTIATE_TEST_SUITE_P(RegularFileWin32Test, PipeLookTest,
                         ::testing::Values(PIPE_ACCESS_INBOUND, PIPE_ACCESS_OUTBOUND));

TEST(RegularFileWin32Test, AFileThatSomebodyHasForItselfIsSeen) {
    const test::TemporaryFolder folder;
    const std::string name = folder.path() + "\\locked";
    const HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(platform_lookAtFile(name.c_str()).regular);
    CloseHandle(file);
}

}  // namespace
