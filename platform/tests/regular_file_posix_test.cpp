// Only on Linux: pipes and devices with names.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "regular_file.h"
#include "temporary_folder.h"
#include "utf8_path.h"

namespace {

using testing::EndsWith;

TEST(RegularFilePosixTest, PipesAndDevicesAreRefusedWithoutWaiting) {
    const test::TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    for (const std::string& path : {folder.path("pipe"), std::string("/dev/zero"), std::string("/dev/tty0/none")}) {
        RegularFile file;
        std::string error;
        EXPECT_FALSE(file.open(path, error)) << path;
        EXPECT_THAT(error, EndsWith(path.ends_with("none") ? "cannot be opened for reading" : "is no regular file"));
    }
}

// Names are bytes here; programs must not lose a file because its name has another encoding.
TEST(Utf8PathPosixTest, NamesThatAreNotUtf8AreKept) { EXPECT_EQ(textOfPath(pathOfText("a\xFF.png")), "a\xFF.png"); }

}  // namespace
