// The reason given when the place of all objects is not as it must be; the tests have their own place.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "object_parent_posix.h"
#include "object_refusal.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

class ObjectRefusalPosixTest : public testing::Test {
protected:
    ObjectRefusalPosixTest() : _former(ObjectParent_Place()) {
        ObjectParent_Place().root = _root;
        fs::create_directories(_space);
        fs::permissions(_parent, fs::perms::owner_all);
        fs::permissions(_space, fs::perms::owner_all);
    }
    ~ObjectRefusalPosixTest() override { ObjectParent_Place() = _former; }

    static ObjectRefusal explained() { return platform_explainRefusal("X", ERROR_ACCESS_DENIED, 0); }

    test::TemporaryFolder _folder;
    std::string _root = fs::canonical(_folder.path(""));
    std::string _parent = _root + "/dorven-objects-" + std::to_string(geteuid());
    std::string _space = _parent + "/" + std::getenv("PLATFORM_OBJECT_NAMESPACE");
    ObjectPlace _former;
};

TEST_F(ObjectRefusalPosixTest, PlaceThatIsAbsentIsTold) {
    ObjectParent_Place().root = _root + "/none";
    for (const DWORD error : {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND}) {
        const ObjectRefusal refusal = platform_explainRefusal("X", error, 100);
        EXPECT_EQ(refusal.reason, _root + "/none is absent");
        EXPECT_EQ(refusal.remedy,
                  "mount a file system in memory there: mount -t tmpfs -o mode=1777 tmpfs " + _root + "/none");
    }
}

TEST_F(ObjectRefusalPosixTest, PlaceThatIsNoFolderIsTold) {
    ObjectParent_Place().root = _folder.file("plain", "x");
    EXPECT_EQ(platform_explainRefusal("X", ERROR_PATH_NOT_FOUND, 100).reason, _root + "/plain is no folder");
}

TEST_F(ObjectRefusalPosixTest, FolderThatIsOpenToOthersIsToldWithItsMode) {
    for (const std::string& path : {_space, _parent}) {
        ASSERT_EQ(chmod(path.c_str(), 0755), 0);
        EXPECT_EQ(explained().reason, path + " has mode 0755 instead of 0700");
        EXPECT_EQ(explained().remedy, "chmod 700 " + path + ", or remove it");
    }
}

TEST_F(ObjectRefusalPosixTest, SquattedFolderIsToldWithWhatItIs) {
    fs::remove(_space);
    fs::create_directory_symlink("/tmp", _space);
    EXPECT_EQ(explained().reason, _space + " is a link");
    EXPECT_EQ(explained().remedy, "remove it");
    fs::remove(_space);
    std::ofstream(_space) << "taken";
    EXPECT_EQ(explained().reason, _space + " is no folder");
}

TEST_F(ObjectRefusalPosixTest, SquattedNameIsToldWithWhatItIs) {
    const std::string path = _space + "/X";
    const auto isToldAfter = [&](const std::function<void()>& squat, const std::string& what) {
        squat();
        EXPECT_EQ(explained().reason, path + what);
        EXPECT_EQ(explained().remedy, "remove it");
        fs::remove(path);
    };
    isToldAfter([&] { fs::create_symlink("/etc/passwd", path); }, " is a link");
    isToldAfter([&] { fs::create_directory(path); }, " is a folder");
    isToldAfter([&] { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); }, " is no plain file");
    isToldAfter(
        [&] {
            ASSERT_EQ(chmod(_folder.file("wrong", "x").c_str(), 0455), 0);
            fs::rename(_folder.path("wrong"), path);
        },
        " has mode 0455 instead of 0600");
    EXPECT_THAT(explained().reason, HasSubstr("error 5"));
}

TEST_F(ObjectRefusalPosixTest, LimitBelowTheRoomThatIsFreeIsTold) {
    const ObjectRefusal refusal = platform_explainRefusal("X", ERROR_COMMITMENT_LIMIT, 1);
    EXPECT_THAT(refusal.reason, StartsWith("a limit of this user or process is below the 8192 bytes that are needed"));
    EXPECT_THAT(refusal.remedy, HasSubstr("ulimit -f"));
}

TEST_F(ObjectRefusalPosixTest, RoomTakesWholePagesAndOneMore) {
    EXPECT_EQ(platform_roomFor(0), 4096u);
    EXPECT_EQ(platform_roomFor(1), 8192u);
    EXPECT_EQ(platform_roomFor(4096), 8192u);
}

}  // namespace
