// Which folder is used when somebody else has the usual name; each test has its own place.
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

    // Gives the usual name to something that is no folder of this user: a folder of somebody else, if root runs the
    // test.
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

// If there is no folder to use, the name space alone is no path.
TEST_F(ObjectParentTest, LookAtAnObjectFindsNothingWhenNoFolderServes) {
    squat();
    const char* const variable = "PLATFORM_OBJECT_NAMESPACE";
    const std::string former = getenv(variable);
    const fs::path stray = "/tmp/stray-" + std::to_string(getpid());
    fs::create_directory(stray);
    setenv(variable, "tmp", 1);
    EXPECT_EQ(platform_lookAtObject(stray.filename().c_str(), 0).kind, ObjectSight::Kind::absent);
    setenv(variable, former.c_str(), 1);
    fs::remove(stray);
}

// Creates an object in the place that the arguments name, and waits until it sees the other one.
CHILD_ROLE(meetsInAnotherPlace) {
    ObjectParent_Place().root = arguments.at(0);
    const ObjectHandle own(CreateEventA(nullptr, FALSE, FALSE, arguments.at(1).c_str()));
    const ObjectHandle other(CreateEventA(nullptr, FALSE, FALSE, arguments.at(2).c_str()));
    if (!own.get() || !other.get()) return 1;
    SetEvent(own.get());
    const HANDLE handle = other.get();
    return WaitForMultipleObjects(1, &handle, FALSE, 60'000) == WAIT_OBJECT_0 ? 0 : 2;
}

TEST_F(ObjectParentTest, ProgramsMeetAlthoughSomebodyElseHasTheUsualName) {
    squat();
    test::ChildProcess first("meetsInAnotherPlace", {_root, "first", "second"});
    test::ChildProcess second("meetsInAnotherPlace", {_root, "second", "first"});
    EXPECT_EQ(first.join(60s), 0);
    EXPECT_EQ(second.join(60s), 0);
    EXPECT_THAT(folders(), testing::SizeIs(2));
}

// An ordinary user is kept out by missing rights.
bool becomeOrdinaryUser() { return geteuid() != 0 || setresuid(kSomebodyElse, kSomebodyElse, kSomebodyElse) == 0; }

mode_t modeOf(const fs::path& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

CHILD_ROLE(usesObjectsUnderAUmaskThatTakesEveryRight) {
    ObjectParent_Place().root = arguments.at(0);
    if (!becomeOrdinaryUser()) return 1;
    if (arguments.at(1) == "squatted")
        std::ofstream(arguments.at(0) + "/dorven-objects-" + std::to_string(geteuid())) << "taken";
    umask(0777);
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, "event"));
    if (!event.get()) return 2;
    const fs::path folder = platform_lookAtObjectFolder().path;
    if (modeOf(folder) != 0700 || modeOf(folder.parent_path()) != 0700 || modeOf(folder / "event") != 0600) return 3;
    // As left by a process that was killed between creating a file and setting its rights.
    for (const char* name : {"dark", "left"}) close(open((folder / name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!ObjectHandle(CreateEventA(nullptr, FALSE, FALSE, "dark")).get()) return 4;
    test::ChildProcess second("usesObjectsAsAnotherProcess", {arguments.at(0)});
    const HANDLE handle = event.get();
    if (WaitForMultipleObjects(1, &handle, FALSE, 60'000) != WAIT_OBJECT_0 || second.join(60s) != 0) return 5;
    return fs::exists(folder / "left") ? 6 : 0;
}

CHILD_ROLE(usesObjectsAsAnotherProcess) {
    ObjectParent_Place().root = arguments.at(0);
    const ObjectHandle event(OpenEventA(EVENT_ALL_ACCESS, FALSE, "event"));
    return event.get() && SetEvent(event.get()) ? 0 : 1;
}

TEST_F(ObjectParentTest, FoldersAndFilesThatWereMadeUnderAnyUmaskAreUsable) {
    for (const char* usual : {"free", "squatted"}) {
        const test::TemporaryFolder folder;
        chmod(folder.path().c_str(), 01777);
        test::ChildProcess child("usesObjectsUnderAUmaskThatTakesEveryRight", {folder.path(), usual});
        EXPECT_EQ(child.join(60s), 0) << usual;
    }
}

// Creates the folder of a name space, unchanged for that many seconds, with a file if one is named.
std::string makeSpace(const std::string& parent, const std::string& name, time_t seconds,
                      const std::string& file = "") {
    const std::string path = parent + "/" + name;
    fs::create_directory(path);
    chmod(path.c_str(), 0700);
    if (!file.empty()) std::ofstream(path + "/" + file) << "left";
    const timespec times[2] = {{time(nullptr) - seconds, 0}, {time(nullptr) - seconds, 0}};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
    return path;
}

int hold(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    struct flock lock {};
    lock.l_type = F_RDLCK;
    lock.l_len = 1;
    EXPECT_EQ(fcntl(descriptor, F_OFD_SETLK, &lock), 0);
    return descriptor;
}

CHILD_ROLE(makesOneObject) {
    ObjectParent_Place().root = arguments.at(0);
    return ObjectHandle(CreateEventA(nullptr, FALSE, FALSE, "any")).get() ? 0 : 1;
}

TEST_F(ObjectParentTest, NameSpacesThatNobodyUsesAreSweptByTheFirstUseOfAProcess) {
    const std::string parent = opened();
    const std::string unused = makeSpace(parent, "unused", 100);
    const std::string killed = makeSpace(parent, "killed", 100, "leftover");
    const std::string used = makeSpace(parent, "used", 100, "held");
    const std::string young = makeSpace(parent, "young", 0);
    const int held = hold(used + "/held");
    test::ChildProcess child("makesOneObject", {_root});
    EXPECT_EQ(child.join(60s), 0);
    EXPECT_FALSE(fs::exists(unused));
    EXPECT_FALSE(fs::exists(killed));
    EXPECT_TRUE(fs::exists(used + "/held"));
    EXPECT_TRUE(fs::exists(young)) << "somebody may be about to use it";
    close(held);
}

}  // namespace
