// Configurations that are no regular files: devices that seem to exist in every folder, and pipes.
#include <string>

#include "config_devices.h"
#include "platform.h"

namespace {

TEST(CameraConfigTest, ADeviceIsNoConfiguration) { expectDefaultsWithout("NUL"); }

TEST(CameraConfigTest, APipeIsNoConfigurationAndIsNotWaitedFor) {
    const std::string name = R"(\\.\pipe\DorVenConfig)" + std::to_string(GetCurrentProcessId());
    const HANDLE pipe = CreateNamedPipeA(name.c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE, PIPE_UNLIMITED_INSTANCES,
                                         0, 0, 0, nullptr);
    ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
    expectDefaultsWithout(name);
    CloseHandle(pipe);
}

}  // namespace
