// What becomes of named objects in a child that a host forks without starting a program in it.
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "child_process.h"
#include "object_handles.h"
#include "object_look.h"
#include "platform.h"

namespace {

using test::ObjectHandle;
using Kind = ObjectSight::Kind;

constexpr DWORD kBytes = 5000;

HANDLE createMapping(const std::string& name) {
    return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kBytes, name.c_str());
}

char* viewOf(HANDLE mapping) { return static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0)); }

bool takes(HANDLE event, DWORD timeoutMs) {
    return WaitForMultipleObjects(1, &event, FALSE, timeoutMs) == WAIT_OBJECT_0;
}

/// Runs the function in a forked child; a signal ends it if it hangs. Returns the function's result, or -1.
template <typename Function>
int inForkedChild(Function function) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        _exit(function());
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Ends the program after two minutes, so that a parent that hangs in a fork fails instead of running for ever.
struct EndOfAHang {
    EndOfAHang() { alarm(120); }
    ~EndOfAHang() { alarm(0); }
};

/// How many object files this process has open or mapped.
int keptFiles() {
    const std::string folder = platform_lookAtObjectFolder().path + "/";
    int kept = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        kept += std::filesystem::read_symlink(entry.path(), gone).string().rfind(folder, 0) == 0;
    }
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) kept += line.find(folder) != std::string::npos;
    return kept;
}

}  // namespace

// Has objects of every kind and forks a child that stays. The child opens "ready" and "stop", sets one, waits for the
// other.
CHILD_ROLE(forksAndStays) {
    const std::string& name = arguments.at(0);
    const ObjectHandle mapping(createMapping(name));
    const ObjectHandle viewed(createMapping(name + "_viewed"));
    viewOf(viewed.get());
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, (name + "_event").c_str()));
    if (fork() == 0) {
        alarm(60);
        const ObjectHandle ready(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(1).c_str()));
        const ObjectHandle stop(OpenEventA(EVENT_ALL_ACCESS, FALSE, arguments.at(2).c_str()));
        SetEvent(ready.get());
        takes(stop.get(), INFINITE);
        _exit(0);
    }
    pause();
    return 0;
}

TEST(ObjectsOfAForkedChild, AreNotThoseOfItsDeadParent) {
    const std::string name = test::uniqueName("kept");
    const std::string readyName = test::uniqueName("ready");
    const std::string stopName = test::uniqueName("stop");
    const ObjectHandle ready(CreateEventA(nullptr, FALSE, FALSE, readyName.c_str()));
    const ObjectHandle stop(CreateEventA(nullptr, FALSE, FALSE, stopName.c_str()));
    test::ChildProcess parent("forksAndStays", {name, readyName, stopName});
    ASSERT_TRUE(takes(ready.get(), 60'000));
    EXPECT_EQ(platform_lookAtObject(name.c_str(), 0).kind, Kind::memory) << "the parent still has it";
    parent.kill();
    EXPECT_EQ(platform_lookAtObject(name.c_str(), 0).kind, Kind::absent);
    EXPECT_EQ(platform_lookAtObject((name + "_viewed").c_str(), 0).kind, Kind::absent);
    EXPECT_EQ(platform_lookAtObject((name + "_event").c_str(), 0).kind, Kind::absent);
    SetEvent(stop.get());
}

TEST(ObjectsOfAForkedChild, ReachNobodyAndCanBeClosed) {
    const std::string name = test::uniqueName("mapping");
    const std::string eventName = test::uniqueName("event");
    ObjectHandle mapping(createMapping(name));
    char* const view = viewOf(mapping.get());
    std::strcpy(view, "parent's");
    ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, eventName.c_str()));
    ObjectHandle unnamed(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    EXPECT_EQ(inForkedChild([&] {
                  if (keptFiles() != 0) return 1;
                  std::strcpy(view, "child's");
                  if (!SetEvent(event.get()) || !SetEvent(unnamed.get())) return 2;
                  if (MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0)) return 3;
                  const bool closed = CloseHandle(event.get()) && CloseHandle(unnamed.get()) && UnmapViewOfFile(view) &&
                                      CloseHandle(mapping.get());
                  return closed ? 0 : 4;
              }),
              0);
    EXPECT_STREQ(view, "parent's");
    EXPECT_FALSE(takes(event.get(), 0));
    EXPECT_FALSE(takes(unnamed.get(), 0));
    EXPECT_EQ(platform_lookAtObject(name.c_str(), 0).kind, Kind::memory);
    EXPECT_EQ(platform_lookAtObject(eventName.c_str(), 0).kind, Kind::event);
    UnmapViewOfFile(view);
}

TEST(ObjectsOfAForkedChild, AreFoundAgainUnderTheirNames) {
    const std::string name = test::uniqueName("event");
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, name.c_str()));
    EXPECT_EQ(inForkedChild([&] {
                  const ObjectHandle opened(OpenEventA(EVENT_ALL_ACCESS, FALSE, name.c_str()));
                  return opened.get() && SetEvent(opened.get()) ? 0 : 1;
              }),
              0);
    EXPECT_TRUE(takes(event.get(), 0));
    // A child of a child, too.
    EXPECT_EQ(inForkedChild([&] {
                  const ObjectHandle opened(OpenEventA(EVENT_ALL_ACCESS, FALSE, name.c_str()));
                  return inForkedChild([&] { return keptFiles(); });
              }),
              0);
}

TEST(ObjectsOfAForkedChild, AreWholeTablesWhateverOtherThreadsWereDoingAtTheFork) {
    const std::string name = test::uniqueName("busy");
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&, i] {
            const std::string own = name + std::to_string(i % 2);  // two of them meet on one name
            while (!done) {
                const ObjectHandle mapping(createMapping(own));
                UnmapViewOfFile(viewOf(mapping.get()));
                const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, (own + "_event").c_str()));
            }
        });
    }
    threads.emplace_back([&] {  // freeing that many bytes takes a while, so a fork meets it
        constexpr DWORD kManyBytes = 64 << 20;
        while (!done) {
            const ObjectHandle large(
                CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kManyBytes, nullptr));
        }
    });
    const EndOfAHang limit;
    for (int i = 0; i < 100 && !HasFailure(); ++i) {
        EXPECT_EQ(inForkedChild([&] {
                      if (keptFiles() != 0) return 1;
                      const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, (name + "_child").c_str()));
                      const ObjectHandle shared(createMapping(name + "0"));
                      char* const view = viewOf(shared.get());
                      return event.get() && view && UnmapViewOfFile(view) ? 0 : 2;
                  }),
                  0)
            << "fork " << i;
    }
    done = true;
    for (std::thread& thread : threads) thread.join();
}
