#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "child_process.h"
#include "object_look.h"
#include "platform.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using Kind = ObjectSight::Kind;

// Each test has its own name space, so that the folder contains nothing else.
class ObjectLookPosixTest : public testing::Test {
protected:
    ObjectLookPosixTest() : _former(getenv(kVariable)) {
        setenv(kVariable, test::uniqueName("look").c_str(), 1);
        _path = platform_lookAtObjectFolder().path;
    }
    ~ObjectLookPosixTest() override {
        std::filesystem::permissions(_path, std::filesystem::perms::owner_all, _ignored);
        std::filesystem::remove_all(_path, _ignored);
        setenv(kVariable, _former.c_str(), 1);
    }
    void makeFolder() {
        std::filesystem::create_directories(_path);
        chmod(_path.c_str(), 0700);
    }
    std::string file(const std::string& name, mode_t mode = 0600) {
        const std::string path = _path + "/" + name;
        std::ofstream(path) << "left";
        chmod(path.c_str(), mode);
        return path;
    }

    static constexpr const char* kVariable = "PLATFORM_OBJECT_NAMESPACE";
    std::string _former;
    std::string _path;
    std::error_code _ignored;
};

TEST_F(ObjectLookPosixTest, FolderThatNobodyMadeIsNotMade) {
    const ObjectFolderSight sight = platform_lookAtObjectFolder();
    EXPECT_TRUE(sight.has);
    EXPECT_FALSE(sight.exists);
    EXPECT_EQ(sight.problem, "");
    EXPECT_FALSE(std::filesystem::exists(_path));
    EXPECT_EQ(platform_lookAtObject("any", 8).kind, Kind::absent);
}

TEST_F(ObjectLookPosixTest, LeftoverIsToldAndStays) {
    makeFolder();
    const std::string left = file("left");
    const ObjectFolderSight sight = platform_lookAtObjectFolder();
    EXPECT_TRUE(sight.exists);
    EXPECT_THAT(sight.leftovers, testing::ElementsAre("left"));
    EXPECT_EQ(sight.held, 0u);
    EXPECT_EQ(platform_lookAtObject("left", 8).kind, Kind::absent);
    EXPECT_TRUE(std::filesystem::exists(left));
}

// Holds the file as another process would: through a separate description.
TEST_F(ObjectLookPosixTest, FileThatIsHeldIsNoLeftover) {
    makeFolder();
    const int holder = open(file("held").c_str(), O_RDWR | O_CLOEXEC);
    struct flock lock {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    ASSERT_EQ(fcntl(holder, F_OFD_SETLK, &lock), 0);
    const ObjectFolderSight sight = platform_lookAtObjectFolder();
    EXPECT_THAT(sight.leftovers, IsEmpty());
    EXPECT_EQ(sight.held, 1u);
    EXPECT_EQ(platform_lookAtObject("held", 8).kind, Kind::unreadable) << "it has no first page";
    close(holder);
}

TEST_F(ObjectLookPosixTest, WrongRightsAreTold) {
    makeFolder();
    file("open", 0644);
    std::filesystem::create_directories(_path + "/folder");
    EXPECT_THAT(platform_lookAtObjectFolder().wrongFiles, testing::ElementsAre("folder", "open"));
    EXPECT_EQ(platform_lookAtObject("folder", 8).kind, Kind::unreadable);
    chmod(_path.c_str(), 0755);
    EXPECT_THAT(platform_lookAtObjectFolder().problem, HasSubstr(" has mode 0755 instead of 0700"));
    chmod(_path.c_str(), 0500);
    EXPECT_THAT(platform_lookAtObjectFolder().problem, HasSubstr(" has mode 0500 instead of 0700"));
}

TEST_F(ObjectLookPosixTest, FolderThatIsNoneIsTold) {
    std::ofstream(_path) << "a file";
    EXPECT_THAT(platform_lookAtObjectFolder().problem, HasSubstr(" is no folder"));
}

}  // namespace
