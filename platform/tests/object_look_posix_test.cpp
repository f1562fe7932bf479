#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "child_process.h"
#include "object_look.h"
#include "object_parent_posix.h"
#include "platform.h"
#include "stopwatch.h"
#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
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

// Arguments: the name of the event.
CHILD_ROLE(holdsAnEventUntilKilled) {
    if (!CreateEventA(nullptr, FALSE, FALSE, arguments.at(0).c_str())) return 1;
    pause();
    return 0;
}

TEST_F(ObjectLookPosixTest, EventOfAnotherNameSpaceIsFoundThere) {
    const std::string own = getenv(kVariable);
    const std::string other = test::uniqueName("other space");
    const std::string event = test::uniqueName("elsewhere");
    setenv(kVariable, other.c_str(), 1);
    test::ChildProcess holder("holdsAnEventUntilKilled", {event});
    setenv(kVariable, own.c_str(), 1);
    const auto spaces = [&event] { return platform_lookElsewhere(event.c_str()).spaces; };
    EXPECT_TRUE(test::becomesTrue([&] { return !spaces().empty(); }));
    EXPECT_THAT(spaces(), ElementsAre(other));
    EXPECT_EQ(platform_lookElsewhere(event.c_str()).ownSpace, own);
    setenv(kVariable, other.c_str(), 1);
    EXPECT_THAT(spaces(), IsEmpty()) << "this is where it is looked for anyway";
    holder.kill();
    setenv(kVariable, own.c_str(), 1);
    EXPECT_THAT(spaces(), IsEmpty());
}

// Another place for the folders of all users.
class ForeignFolderTest : public testing::Test {
protected:
    ForeignFolderTest() : _former(ObjectParent_Place()) { ObjectParent_Place().root = _root.path(); }
    ~ForeignFolderTest() override { ObjectParent_Place() = _former; }
    void make(const std::string& name, uid_t owner) {
        std::filesystem::create_directory(_root.path() + "/" + name);
        ASSERT_EQ(chown((_root.path() + "/" + name).c_str(), owner, static_cast<gid_t>(-1)), 0);
    }

    test::TemporaryFolder _root;
    ObjectPlace _former;
};

TEST_F(ForeignFolderTest, FoldersOfOthersAreToldByOwnerAndName) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a folder to somebody else";
    make("dorven-objects-54321", 54321);
    make("dorven-objects-54321-00aa", 54321);
    make("dorven-objects-1000", 54321);
    make("dorven-objects-0", 0);
    make("another", 54321);
    const auto folders = platform_lookElsewhere("any").folders;
    ASSERT_EQ(folders.size(), 3u);
    EXPECT_EQ(folders[0].path, _root.path() + "/dorven-objects-1000");
    EXPECT_TRUE(folders[0].isForeign) << "made where that user has another number";
    EXPECT_EQ(folders[1].path, _root.path() + "/dorven-objects-54321");
    EXPECT_EQ(folders[1].owner, "user 54321");
    EXPECT_FALSE(folders[1].isForeign);
    EXPECT_FALSE(folders[2].isForeign);
}

TEST_F(ForeignFolderTest, WhoeverMakesThousandsOfFoldersDelaysNobody) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a folder to somebody else";
    for (int count = 0; count < 120; ++count) make("dorven-objects-54321-" + std::to_string(count), 54321);
    EXPECT_EQ(platform_lookElsewhere("any").folders.size(), 100u);
}

}  // namespace
