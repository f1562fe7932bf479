// What only the Linux layer promises: hostile leftovers, sweeping, name spaces, children that keep nothing.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "child_process.h"
#include "lost_memory.h"
#include "object_handles.h"
#include "object_look.h"
#include "platform.h"
#include "temporary_folder.h"

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using test::ObjectHandle;
using testing::ElementsAre;

namespace {

const char kVariable[] = "PLATFORM_OBJECT_NAMESPACE";

fs::path userFolder() { return fs::path(platform_lookAtObjectFolder().path).parent_path(); }

// The folder of this process's name space, created by a first object.
fs::path objectFolder() {
    const ObjectHandle first(CreateEventA(nullptr, FALSE, FALSE, test::uniqueName("first").c_str()));
    return userFolder() / std::getenv(kVariable);
}

HANDLE createMapping(const std::string& name) {
    return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, name.c_str());
}

int takeGuardOf(const fs::path& path) {
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    struct flock guard {};
    guard.l_type = F_WRLCK;
    guard.l_start = 1;
    guard.l_len = 1;
    EXPECT_EQ(fcntl(descriptor, F_OFD_SETLK, &guard), 0);
    return descriptor;
}

HANDLE openMapping(const std::string& name) { return OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str()); }

}  // namespace

TEST(ObjectFiles, ArePrivateToTheUser) {
    const fs::path folder = objectFolder();
    const ObjectHandle mapping(createMapping("private"));
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(userFolder()).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(folder / "private").permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST(ObjectFiles, GoWithTheLastHandle) {
    const fs::path folder = objectFolder();
    {
        const ObjectHandle mapping(createMapping("going"));
        EXPECT_TRUE(fs::exists(folder / "going"));
    }
    EXPECT_FALSE(fs::exists(folder / "going"));
}

TEST(ObjectFiles, ASymbolicLinkInTheObjectsPlaceIsRefusedAndItsTargetUntouched) {
    const test::TemporaryFolder elsewhere;
    const std::string target = elsewhere.file("precious", "content");
    fs::create_symlink(target, objectFolder() / "link");
    EXPECT_EQ(createMapping("link"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(openMapping("link"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(fs::file_size(target), 7u);
}

TEST(ObjectFiles, AFolderInTheObjectsPlaceIsRefused) {
    fs::create_directory(objectFolder() / "folder");
    EXPECT_EQ(createMapping("folder"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

TEST(ObjectFiles, APipeInTheObjectsPlaceIsRefusedWithoutWaiting) {
    ASSERT_EQ(mkfifo((objectFolder() / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(createMapping("pipe"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

TEST(ObjectFiles, AFileOfAnotherUserIsRefused) {
    if (geteuid() != 0) return;  // only root can give a file away
    const fs::path path = objectFolder() / "foreign";
    std::ofstream(path) << "content";
    ASSERT_EQ(chown(path.c_str(), 12345, 12345), 0);
    EXPECT_EQ(createMapping("foreign"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(fs::file_size(path), 7u);
}

TEST(ObjectFiles, ALeftoverFileIsAbsentToOpenAndReplacedByCreate) {
    const fs::path path = objectFolder() / "leftover";
    std::ofstream(path) << "content";
    EXPECT_EQ(openMapping("leftover"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(fs::exists(path));
    std::ofstream(path) << "content";
    const ObjectHandle mapping(createMapping("leftover"));
    EXPECT_NE(mapping.get(), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

CHILD_ROLE(holdsMapping) {
    const ObjectHandle mapping(createMapping(arguments.at(0)));
    const ObjectHandle ready(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(1).c_str()));
    SetEvent(ready.get());
    std::this_thread::sleep_for(30s);
    return 0;
}

namespace {

// A child that holds a mapping until it is killed.
class Holder {
public:
    explicit Holder(const std::string& name) : _ready(CreateEventA(nullptr, FALSE, FALSE, _readyName.c_str())) {
        _child = std::make_unique<test::ChildProcess>("holdsMapping", test::Arguments{name, _readyName});
        const HANDLE ready = _ready.get();
        EXPECT_EQ(WaitForMultipleObjects(1, &ready, FALSE, 60'000), WAIT_OBJECT_0);
    }
    ~Holder() { _child->kill(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

private:
    std::string _readyName = test::uniqueName("ready");
    ObjectHandle _ready;
    std::unique_ptr<test::ChildProcess> _child;
};

}  // namespace

TEST(ObjectFiles, AHeldFileThatWasCutShortIsAnErrorForWhoeverAttaches) {
    const fs::path folder = objectFolder();
    const Holder holder("cut");
    fs::resize_file(folder / "cut", 10);
    EXPECT_EQ(openMapping("cut"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_INVALID);
    EXPECT_EQ(createMapping("cut"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_INVALID);
}

TEST(ObjectFiles, AFileThatIsCutShortBeforeItIsMappedIsAnErrorAndNoFault) {
    const fs::path folder = objectFolder();
    const ObjectHandle mapping(createMapping("cut_later"));
    fs::resize_file(folder / "cut_later", 4096);
    EXPECT_EQ(MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_INVALID);
}

// Redirects standard error to a file.
CHILD_ROLE(touchesMemoryThatWasCutShort) {
    if (arguments.at(0) == "explained") platform_explainLostMemory("program", 3);
    const int output = open(arguments.at(1).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(output, STDERR_FILENO);
    const ObjectHandle mapping(createMapping("cut_short"));
    auto* const view = static_cast<volatile char*>(MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0));
    fs::resize_file(platform_lookAtObjectFolder().path + "/cut_short", 4096);
    if (arguments.at(2) == "touched") view[0] = 1;
    raise(SIGBUS);
    return 0;
}

namespace {

int touchedMemory(const char* conduct, const char* deed, std::string& told) {
    const test::TemporaryFolder folder;
    test::ChildProcess child("touchesMemoryThatWasCutShort", {conduct, folder.path("told"), deed});
    const int exitCode = child.join(60s);
    std::getline(std::ifstream(folder.path("told")), told);
    return exitCode;
}

}  // namespace

TEST(LostMemory, EndsTheProgramWithASentenceIfItAskedForIt) {
    std::string told;
    EXPECT_EQ(touchedMemory("explained", "touched", told), 3);
    EXPECT_EQ(told,
              "program: shared memory in use was cut short by another program of this account; "
              "start the programs again");
}

TEST(LostMemory, IsAllThatIsExplained) {
    std::string told;
    EXPECT_EQ(touchedMemory("explained", "signalled", told), 128 + SIGBUS);
    EXPECT_EQ(told, "");
}

TEST(ObjectFiles, AHeldFileWithForeignContentIsAnError) {
    const fs::path folder = objectFolder();
    const Holder holder("garbage");
    std::fstream(folder / "garbage", std::ios::in | std::ios::out | std::ios::binary) << "garbage!";
    EXPECT_EQ(openMapping("garbage"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_INVALID);
}

// A real collision is too rare to wait for, so the test changes the stored name under its holder.
TEST(ObjectFiles, ALongNameWhoseHashAnotherOneHasIsAbsentAndCannotBeMade) {
    const std::string name = test::uniqueName("hash") + std::string(150, '.');
    const fs::path folder = objectFolder();
    const Holder holder(name);
    const auto isLong = [](const fs::directory_entry& entry) {
        return entry.path().filename().string().find('=') != std::string::npos;
    };
    const auto file = std::find_if(fs::directory_iterator(folder), fs::directory_iterator(), isLong);
    ASSERT_NE(file, fs::directory_iterator());
    EXPECT_EQ(file->path().filename().string().size(), 236u);
    EXPECT_NE(ObjectHandle(openMapping(name)).get(), nullptr);
    std::fstream(file->path(), std::ios::in | std::ios::out | std::ios::binary).seekp(2048 + 4) << "X";
    EXPECT_EQ(openMapping(name), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(createMapping(name), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_DUP_NAME);
    EXPECT_EQ(platform_lookAtObject(name.c_str(), 0).kind, ObjectSight::Kind::absent);
}

TEST(ObjectFiles, ALongNamesCharactersAreCountedAsWindowsCountsThem) {
    std::string most;
    for (int count = 0; count < MAX_PATH - 1; ++count) most += "\xC3\xA4";  // two bytes, one unit
    EXPECT_NE(ObjectHandle(createMapping(most)).get(), nullptr);
    EXPECT_EQ(createMapping(most + "x"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILENAME_EXCED_RANGE);
    std::string pairs;
    for (int count = 0; count < MAX_PATH / 2; ++count) pairs += "\xF0\x9F\x93\xB7";  // four bytes, two units
    EXPECT_EQ(createMapping(pairs), nullptr);
    EXPECT_EQ(createMapping(std::string(10'000, '\x80')), nullptr);  // not valid characters
    EXPECT_EQ(GetLastError(), ERROR_FILENAME_EXCED_RANGE);
}

namespace {

std::vector<std::string> reports;  // of the one thread that meets the guard

// The report function uses named objects, also on another thread: no lock of the layer is held.
void useObjectsAndNote(const char* text) {
    reports.emplace_back(text);
    SetLastError(ERROR_SUCCESS);
    std::thread([] { EXPECT_NE(ObjectHandle(createMapping("made in a report")).get(), nullptr); }).join();
    EXPECT_EQ(openMapping("made in a report"), nullptr);
}

}  // namespace

TEST(ObjectFiles, AGuardThatIsNeverLeftEndsInAnErrorAndAReportThatNamesTheObject) {
    const int descriptor = takeGuardOf(objectFolder() / "guarded");
    platform_setReport(useObjectsAndNote);
    testing::internal::CaptureStderr();
    EXPECT_EQ(createMapping("guarded"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_SEM_TIMEOUT);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(reports, ElementsAre("shared object \"guarded\": another process has kept its guard for more than 5 s; "
                                     "if it was stopped, let it go on or end it"));
    platform_setReport(nullptr);
    close(descriptor);
}

// Takes the guard of an object, as every process does briefly, and is stopped while holding it.
CHILD_ROLE(stopsWithAGuard) {
    const ObjectHandle ready(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(1).c_str()));
    takeGuardOf(arguments.at(0));
    SetEvent(ready.get());
    raise(SIGSTOP);
    return 0;
}

namespace {

bool hasOpened(const fs::path& path) {
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (fs::read_symlink(entry.path(), gone) == path) return true;
    }
    return false;
}

// A child that was stopped while it held an object's guard, until it is killed.
class StoppedGuard {
public:
    explicit StoppedGuard(const fs::path& path) {
        const std::string readyName = test::uniqueName("ready");
        const ObjectHandle ready(CreateEventA(nullptr, FALSE, FALSE, readyName.c_str()));
        _child = std::make_unique<test::ChildProcess>("stopsWithAGuard", test::Arguments{path, readyName});
        const HANDLE handle = ready.get();
        EXPECT_EQ(WaitForMultipleObjects(1, &handle, FALSE, 60'000), WAIT_OBJECT_0);
    }
    void kill() { _child->kill(); }

private:
    std::unique_ptr<test::ChildProcess> _child;
};

}  // namespace

TEST(ObjectFiles, AProcessThatIsStoppedWithAGuardStallsThatNameAlone) {
    const fs::path path = objectFolder() / "stalled";
    StoppedGuard guard(path);
    std::atomic<bool> done{false};
    std::atomic<int> attempts{0};
    std::thread stalled([&] {
        while (!done) {
            const ObjectHandle mapping(createMapping("stalled"));
            ++attempts;
        }
    });
    bool wentOn = false;
    for (int i = 0; i < 2 && !wentOn; ++i) {  // again only where this thread got no processor for seconds
        while (!hasOpened(path)) std::this_thread::yield();
        const int before = attempts;
        const ObjectHandle other(createMapping("other"));
        const ObjectHandle another(openMapping("other"));
        EXPECT_NE(another.get(), nullptr);
        wentOn = attempts == before;
    }
    done = true;
    guard.kill();
    stalled.join();
    EXPECT_TRUE(wentOn) << "other names waited for the stopped process";
    EXPECT_NE(ObjectHandle(createMapping("stalled")).get(), nullptr) << "the guard went with its process";
}

CHILD_ROLE(touchesOneObject) {
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, "touched"));
    return event.get() ? 0 : 1;
}

TEST(ObjectFiles, LeftoversAreSweptByTheFirstUseOfAProcess) {
    const fs::path folder = objectFolder();
    for (int i = 0; i < 20; ++i) std::ofstream(folder / ("old" + std::to_string(i))) << "x";
    const Holder holder("held");
    test::ChildProcess child("touchesOneObject");
    EXPECT_EQ(child.join(60s), 0);
    EXPECT_FALSE(fs::exists(folder / "old0"));
    EXPECT_TRUE(fs::exists(folder / "held"));
}

TEST(ObjectFiles, TheFolderIsMadeAgainWhenItWasRemoved) {
    const fs::path folder = objectFolder();
    fs::remove_all(folder);
    const ObjectHandle mapping(createMapping("anew"));
    EXPECT_NE(mapping.get(), nullptr);
    EXPECT_TRUE(fs::exists(folder / "anew"));
}

CHILD_ROLE(holdsMappingAndTellsByAFile) {
    const ObjectHandle mapping(createMapping(arguments.at(0)));
    std::ofstream(arguments.at(1)) << "ready";
    std::this_thread::sleep_for(30s);
    return 0;
}

TEST(ObjectFiles, AnObjectIsFoundInAFolderThatWasRemovedAndMadeAgainByAnotherProcess) {
    fs::remove_all(objectFolder());
    const test::TemporaryFolder elsewhere;
    const std::string ready = elsewhere.path("ready");
    test::ChildProcess holder("holdsMappingAndTellsByAFile", {"elsewhere", ready});
    while (!fs::exists(ready)) std::this_thread::yield();
    EXPECT_NE(ObjectHandle(openMapping("elsewhere")).get(), nullptr);
    holder.kill();
}

CHILD_ROLE(opensInItsNamespace) { return openMapping(arguments.at(0)) ? 0 : 1; }

TEST(ObjectFiles, ProcessesOfAnotherNameSpaceDoNotMeet) {
    const std::string name = test::uniqueName("space");
    const ObjectHandle mapping(createMapping(name));
    const std::string own = std::getenv(kVariable);
    test::ChildProcess same("opensInItsNamespace", {name});
    EXPECT_EQ(same.join(60s), 0);
    setenv(kVariable, (own + "-other").c_str(), 1);
    test::ChildProcess other("opensInItsNamespace", {name});
    EXPECT_EQ(other.join(60s), 1);
    setenv(kVariable, own.c_str(), 1);
    fs::remove_all(userFolder() / (own + "-other"));
}

TEST(ObjectFiles, AChildThatWasStartedDoesNotKeepItsParentsObjects) {
    const std::string name = test::uniqueName("inherited");
    ObjectHandle mapping(createMapping(name));
    const auto sleeper = test::ChildProcess::program("/bin/sleep", {"30"});
    mapping.close();
    EXPECT_EQ(openMapping(name), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    const_cast<test::ChildProcess&>(sleeper).kill();
}

CHILD_ROLE(refusesAFolderOfTheWrongMode) {
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, "any"));
    return !event.get() && GetLastError() == ERROR_ACCESS_DENIED ? 0 : 1;
}

TEST(ObjectFiles, AFolderThatOthersMayEnterIsRefused) {
    objectFolder();
    const std::string own = std::getenv(kVariable);
    const fs::path open = userFolder() / (own + "-open");
    fs::create_directory(open);
    fs::permissions(open, fs::perms::all);
    setenv(kVariable, (own + "-open").c_str(), 1);
    test::ChildProcess child("refusesAFolderOfTheWrongMode");
    EXPECT_EQ(child.join(60s), 0);
    setenv(kVariable, own.c_str(), 1);
    fs::remove_all(open);
}

// The head of object_stress.cpp explains its checks; scripts/stress.sh runs it for longer.
TEST(ObjectFiles, KillsAtRandomMomentsLoseNoNameUnderAHolderShowNothingStaleAndLeaveNothingBehind) {
    auto stress = test::ChildProcess::program("object_stress", {"3"});
    EXPECT_EQ(stress.join(60s), 0);
}

CHILD_ROLE(sleepsUntilStopped) {
    platform_installStopHandler();
    const ObjectHandle ready(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(0).c_str()));
    SetEvent(ready.get());
    const bool reached = platform_sleepUntil(platform_monotonicNanoseconds() + 60'000'000'000);
    if (reached || !platform_stopRequested()) return 1;
    SetEvent(ready.get());
    if (arguments.at(1) == "stays") std::this_thread::sleep_for(60s);
    return 0;
}

namespace {

pid_t pidOfOnlyChild() {
    std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
    pid_t pid = 0;
    children >> pid;
    return pid;
}

int stopped(int signalNumber, const std::string& conduct, int times) {
    const std::string readyName = test::uniqueName("ready");
    const HANDLE ready = CreateEventA(nullptr, FALSE, FALSE, readyName.c_str());
    test::ChildProcess child("sleepsUntilStopped", {readyName, conduct});
    for (int i = 0; i < times; ++i) {
        EXPECT_EQ(WaitForMultipleObjects(1, &ready, FALSE, 60'000), WAIT_OBJECT_0);
        kill(pidOfOnlyChild(), signalNumber);
    }
    const int exitCode = child.join(60s);
    CloseHandle(ready);
    return exitCode;
}

}  // namespace

TEST(StopHandler, InterruptAndTerminateEndASleepEarly) {
    EXPECT_EQ(stopped(SIGINT, "ends", 1), 0);
    EXPECT_EQ(stopped(SIGTERM, "ends", 1), 0);
}

TEST(StopHandler, TheSecondRequestEndsTheProcess) { EXPECT_EQ(stopped(SIGINT, "stays", 2), 128 + SIGINT); }

// Sends itself the signals of the arguments. @return 0 when that was a request to stop.
CHILD_ROLE(raisesSignals) {
    platform_installStopHandler();
    for (const std::string& number : arguments) raise(std::stoi(number));
    return platform_stopRequested() ? 0 : 1;
}

namespace {

int raising(std::initializer_list<int> signals) {
    test::Arguments numbers;
    for (const int number : signals) numbers.push_back(std::to_string(number));
    return test::ChildProcess("raisesSignals", numbers).join(60s);
}

}  // namespace

TEST(StopHandler, HangUpIsARequestToStop) { EXPECT_EQ(raising({SIGHUP}), 0); }

// A closed terminal sends the signal twice: its shell does, and the system.
TEST(StopHandler, HangUpBehindAnyRequestEndsNothing) {
    EXPECT_EQ(raising({SIGHUP, SIGHUP}), 0);
    EXPECT_EQ(raising({SIGTERM, SIGHUP}), 0);
}

TEST(StopHandler, SecondRequestBehindAHangUpEndsTheProcess) {
    EXPECT_EQ(raising({SIGHUP, SIGTERM}), 128 + SIGTERM);
    EXPECT_EQ(raising({SIGHUP, SIGINT}), 128 + SIGINT);
}

TEST(StopHandler, ProgramThatWasStartedToIgnoreHangUpsGoesOn) {
    signal(SIGHUP, SIG_IGN);  // as nohup does; the child inherits it
    EXPECT_EQ(raising({SIGHUP}), 1);
    signal(SIGHUP, SIG_DFL);
}
