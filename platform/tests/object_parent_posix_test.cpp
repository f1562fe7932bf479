// Which folder serves when somebody else has the usual one's name, in a place of the test's own.
#include "object_parent_posix.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "child_process.h"
#include "object_handles.h"
#include "object_look.h"
#include "platform.h"
#include "temporary_folder.h"

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using test::ObjectHandle;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

constexpr uid_t kSomebodyElse = 65534;

std::vector<std::string> reports;

class ObjectParentTest : public testing::Test {
protected:
    ObjectParentTest() : _former(ObjectParent_Place()) {
        ObjectParent_Place() = {_root, 20s};
        reports.clear();
        platform_setReport([](const char* text) { reports.emplace_back(text); });
    }
    ~ObjectParentTest() override {
        platform_setReport(nullptr);
        ObjectParent_Place() = _former;
    }

    // Something else than a folder of this user has the usual name; a folder of somebody else, where root may make one.
    void squat() {
        if (geteuid() != 0) {
            std::ofstream(_usual) << "taken";
            return;
        }
        fs::create_directory(_usual);
        ASSERT_EQ(chown(_usual.c_str(), kSomebodyElse, kSomebodyElse), 0);
    }
    std::string makeFolder(const std::string& suffix, mode_t mode = 0700) {
        const std::string path = _usual + suffix;
        fs::create_directory(path);
        chmod(path.c_str(), mode);
        return path;
    }
    // The path of what is opened; empty when that fails.
    static std::string opened() {
        const int descriptor = ObjectParent_Open();
        if (descriptor < 0) return "";
        const std::string path = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
        close(descriptor);
        return path;
    }
    std::vector<std::string> folders() const {
        std::vector<std::string> all;
        for (const auto& entry : fs::directory_iterator(_root)) all.push_back(entry.path());
        return all;
    }

    test::TemporaryFolder _folder;
    std::string _root = fs::canonical(_folder.path(""));
    std::string _usual = _root + "/dorven-objects-" + std::to_string(geteuid());
    ObjectPlace _former;
};

TEST_F(ObjectParentTest, UsualFolderIsMadeAndFoundAgain) {
    EXPECT_EQ(ObjectParent_Look().path, _usual);
    EXPECT_THAT(folders(), IsEmpty()) << "looking makes nothing";
    EXPECT_EQ(opened(), _usual);
    EXPECT_EQ(opened(), _usual);
    EXPECT_EQ(ObjectParent_Look().squatter, "");
}

TEST_F(ObjectParentTest, UsualFolderServesBesideOthers) {
    makeFolder("-aaa");
    makeFolder("");
    EXPECT_EQ(opened(), _usual);
}

TEST_F(ObjectParentTest, FolderOfAnotherNameIsMadeOnceWhileSomebodyElseHasTheUsualName) {
    squat();
    EXPECT_EQ(ObjectParent_Look().path, "");
    EXPECT_THAT(ObjectParent_Look().squatter,
                StartsWith(_usual + (geteuid() == 0 ? " belongs to user 65534" : " is no")));
    const std::string made = opened();
    EXPECT_THAT(made, MatchesRegex(_usual + "-[0-9a-f]{16}"));
    EXPECT_EQ(fs::status(made).permissions(), fs::perms::owner_all);
    EXPECT_EQ(opened(), made);
    EXPECT_EQ(ObjectParent_Look().path, made);
    EXPECT_THAT(folders(), testing::SizeIs(2));
    EXPECT_THAT(reports, IsEmpty());
}

TEST_F(ObjectParentTest, FirstByNameServesThatIsAFolderOfThisUserAlone) {
    squat();
    std::ofstream(_usual + "-a") << "a file";
    fs::create_directory_symlink(_root, _usual + "-b");
    makeFolder("-c", 0755);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(makeFolder("-d").c_str(), kSomebodyElse, kSomebodyElse), 0);
    }
    makeFolder("-f");
    makeFolder("-e");
    EXPECT_EQ(opened(), _usual + "-e");
}

TEST_F(ObjectParentTest, FolderOfAnotherNameServesOnWhenTheUsualNameIsFreeAgain) {
    squat();
    const std::string made = opened();
    fs::remove_all(_usual);
    EXPECT_EQ(opened(), made) << "programs that run have their objects there";
    EXPECT_EQ(ObjectParent_Look().squatter, "");
}

TEST_F(ObjectParentTest, LockThatIsNotToBeHadIsAnErrorThatSaysSo) {
    squat();
    ObjectParent_Place().lockLimit = 50ms;
    const int locked = open(_root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(locked, LOCK_EX), 0);
    EXPECT_EQ(opened(), "");
    EXPECT_EQ(GetLastError(), ERROR_SEM_TIMEOUT);
    ASSERT_THAT(reports, testing::SizeIs(1));
    EXPECT_THAT(reports[0], HasSubstr(_usual + " belongs to somebody else"));
    EXPECT_THAT(reports[0], HasSubstr("has kept the lock of " + _root));
    EXPECT_THAT(folders(), testing::SizeIs(1));
    close(locked);
    EXPECT_THAT(opened(), StartsWith(_usual + "-"));
}

bool isOpenTwice(const std::string& path) {
    int count = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        count += fs::read_symlink(entry.path(), gone) == path;
    }
    return count >= 2;
}

TEST_F(ObjectParentTest, FolderThatWasMadeWhileTheLockWasWaitedForServes) {
    squat();
    const int locked = open(_root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(locked, LOCK_EX), 0);
    std::string waited;
    std::thread waiter([&] { waited = opened(); });
    while (!isOpenTwice(_root)) std::this_thread::yield();
    std::this_thread::sleep_for(20ms);  // its first search finds nothing; if it is late, it finds the folder
    const std::string made = makeFolder("-made");
    close(locked);
    waiter.join();
    EXPECT_EQ(waited, made);
    EXPECT_THAT(folders(), testing::SizeIs(2));
}

TEST_F(ObjectParentTest, LookTellsWhichFolderServes) {
    squat();
    EXPECT_EQ(platform_lookAtObjectFolder().path, "");
    EXPECT_FALSE(platform_lookAtObjectFolder().exists);
    const std::string made = opened();
    const ObjectFolderSight sight = platform_lookAtObjectFolder();
    EXPECT_THAT(sight.path, StartsWith(made + "/"));
    EXPECT_THAT(sight.squatter, StartsWith(_usual + " "));
    EXPECT_EQ(sight.problem, "");
}

// Makes an object in the place that the arguments name, and waits until the other one is seen.
CHILD_ROLE(meetsInAnotherPlace) {
    ObjectParent_Place().root = arguments.at(0);
    const ObjectHandle own(CreateEventA(nullptr, FALSE, FALSE, arguments.at(1).c_str()));
    const ObjectHandle other(CreateEventA(nullptr, FALSE, FALSE, arguments.at(2).c_str()));
    if (!own.get() || !other.get()) return 1;
    SetEvent(own.get());
    const HANDLE handle = other.get();
    return WaitForMultipleObjects(1, &handle, FALSE, 20'000) == WAIT_OBJECT_0 ? 0 : 2;
}

TEST_F(ObjectParentTest, ProgramsMeetAlthoughSomebodyElseHasTheUsualName) {
    squat();
    test::ChildProcess first("meetsInAnotherPlace", {_root, "first", "second"});
    test::ChildProcess second("meetsInAnotherPlace", {_root, "second", "first"});
    EXPECT_EQ(first.join(40s), 0);
    EXPECT_EQ(second.join(40s), 0);
    EXPECT_THAT(folders(), testing::SizeIs(2));
}

}  // namespace
