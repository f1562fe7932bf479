// Configurations that are no regular files: opening them neither blocks nor reads for ever.
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "MIniData.h"
#include "config_devices.h"
#include "temporary_folder.h"

namespace {

TEST(CameraConfigTest, APipeIsNoConfigurationAndIsNotWaitedFor) {
    const test::TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    expectDefaultsWithout(folder.path("pipe"));
}

TEST(CameraConfigTest, ADeviceThatNeverEndsIsNoConfiguration) { expectDefaultsWithout("/dev/zero"); }

TEST(CameraConfigTest, IniDataNameTheReasonInAnEntryOfTheirOwn) {
    const test::LogRecorder log;
    const MIniData data("\\dev\\zero");
    EXPECT_FALSE(data.IsOpen());
    EXPECT_EQ(data.GetLastErrorText(), "is no regular file");
    EXPECT_EQ(log.errorTraces()[0], "MIniData::Open(\"\\dev\\zero\"): is no regular file");
}

TEST(CameraConfigTest, ALinkToADeviceIsNoConfiguration) {
    const test::TemporaryFolder folder;
    ASSERT_EQ(symlink("/dev/zero", folder.path("camera.ini").c_str()), 0);
    expectDefaultsWithout(folder.path("camera.ini"));
}

}  // namespace
