// Platform calls while each of their allocations fails once: they report the failure, throw nothing, and lose no handle
// and no name.
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "child_process.h"
#include "no_memory.h"
#include "object_handles.h"
#include "platform.h"
#include "temporary_folder.h"

using test::ObjectHandle;

namespace {

constexpr int kMostAllocations = 1'000;

bool oneHasFailed = false;  // in the last call of `failing`

/// One call whose count-th allocation fails. It must not throw: that would end the program.
template <typename Call>
auto failing(int count, Call&& call) noexcept {
    test::failAllocation(count);
    const auto result = call();
    oneHasFailed = test::allocationHasFailed();
    test::failAllocation(0);
    return result;
}

// Runs a call with the first allocation failing, then with the second, until no allocation fails.
template <typename Call>
void withEachAllocationFailing(Call&& call) {
    for (int count = 1; count < kMostAllocations; ++count) {
        call(count);
        if (!oneHasFailed) return;
        ASSERT_FALSE(testing::Test::HasFailure()) << "allocation " << count;
    }
    ADD_FAILURE() << "no end of allocations";
}

HANDLE createEvent(const std::string& name) { return CreateEventA(nullptr, FALSE, FALSE, name.c_str()); }

HANDLE createMapping(const std::string& name) {
    return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, name.c_str());
}

HANDLE openMapping(const std::string& name) { return OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str()); }

using Create = HANDLE (*)(const std::string& name);

struct Case {
    const char* what;
    Create create;
    friend void PrintTo(const Case& one, std::ostream* out) { *out << one.what; }
};

class NoMemoryFor : public testing::TestWithParam<Case> {
protected:
    std::string _name = test::uniqueName("object");
};

}  // namespace

TEST_P(NoMemoryFor, CreatingIsRefusedAndTheNameStaysFree) {
    withEachAllocationFailing([this](int count) {
        const HANDLE handle = failing(count, [this] { return GetParam().create(_name); });
        if (handle) {
            CloseHandle(handle);
        } else {
            EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
        }
        EXPECT_EQ(openMapping(_name), nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    });
}

TEST_P(NoMemoryFor, OpeningASecondTimeIsRefusedAndTheFirstHandleWorks) {
    const ObjectHandle kept(GetParam().create(_name));
    withEachAllocationFailing([this](int count) {
        const HANDLE handle = failing(count, [this] { return GetParam().create(_name); });
        if (handle) CloseHandle(handle);
    });
    EXPECT_TRUE(CloseHandle(GetParam().create(_name)));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
}

TEST_P(NoMemoryFor, ClosingNeedsNone) {
    withEachAllocationFailing([this](int count) {
        const HANDLE handle = GetParam().create(_name);
        EXPECT_TRUE(failing(count, [&] { return CloseHandle(handle); }));
        EXPECT_EQ(openMapping(_name), nullptr);
    });
}

INSTANTIATE_TEST_SUITE_P(OutOfMemory, NoMemoryFor,
                         testing::Values(Case{"Event", createEvent}, Case{"Mapping", createMapping}),
                         [](const testing::TestParamInfo<Case>& one) { return one.param.what; });

TEST(OutOfMemory, ManyHandlesAreClosedWithoutMemory) {
    std::vector<HANDLE> handles;
    for (int i = 0; i < 300; ++i) handles.push_back(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    for (const HANDLE handle : handles) EXPECT_TRUE(failing(1, [&] { return CloseHandle(handle); }));
}

TEST(OutOfMemory, AViewThatHasNoEntryIsNotThereAndItsNameGoesWithTheHandle) {
    const std::string name = test::uniqueName("view");
    withEachAllocationFailing([&](int count) {
        {
            const ObjectHandle mapping(createMapping(name));
            void* const view =
                failing(count, [&] { return MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0); });
            const bool failed = oneHasFailed;
            if (view) {
                EXPECT_TRUE(failing(1, [&] { return UnmapViewOfFile(view); }));
                oneHasFailed = failed;
            } else {
                EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
            }
        }
        EXPECT_EQ(openMapping(name), nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    });
}

TEST(OutOfMemory, OpeningWhatAnotherNameHoldsIsAnAnswer) {
    const std::string name = test::uniqueName("open");
    withEachAllocationFailing([&](int count) {
        EXPECT_EQ(failing(count, [&] { return OpenEventA(EVENT_ALL_ACCESS, FALSE, name.c_str()); }), nullptr);
    });
}

TEST(OutOfMemory, SettingAndWaitingNeedNone) {
    const ObjectHandle event(createEvent(test::uniqueName("event")));
    const HANDLE handle = event.get();
    EXPECT_TRUE(failing(1, [&] { return SetEvent(handle); }));
    EXPECT_EQ(failing(1, [&] { return WaitForMultipleObjects(1, &handle, FALSE, 5); }), WAIT_OBJECT_0);
    EXPECT_EQ(failing(1, [&] { return WaitForMultipleObjects(1, &handle, FALSE, 5); }), WAIT_TIMEOUT);
}

TEST(OutOfMemory, EachCallWithAFileNameAnswers) {
    const test::TemporaryFolder folder;
    const std::string old = folder.file("old.txt", "content");
    const std::string path = folder.path();
    const std::string fresh = path + "/new.txt";
    const std::string moved = path + "/moved.txt";
    const std::string pattern = path + "/*";
    withEachAllocationFailing([&](int count) {
        const HANDLE file = failing(count, [&] {
            return CreateFileA(old.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
        });
        if (file == INVALID_HANDLE_VALUE) return;
        const bool failed = oneHasFailed;
        char byte = 0;
        DWORD bytes = 0;
        EXPECT_TRUE(failing(1, [&] { return ReadFile(file, &byte, 1, &bytes, nullptr); }));
        EXPECT_TRUE(failing(1, [&] { return CloseHandle(file); }));
        oneHasFailed = failed;
    });
    withEachAllocationFailing([&](int count) {
        const HANDLE file = failing(
            count, [&] { return CreateFileA(fresh.c_str(), FILE_WRITE_DATA, 0, nullptr, CREATE_ALWAYS, 0, nullptr); });
        if (file == INVALID_HANDLE_VALUE) return;
        const bool failed = oneHasFailed;
        DWORD written = 0;
        EXPECT_TRUE(failing(1, [&] { return WriteFile(file, "x", 1, &written, nullptr); }));
        EXPECT_TRUE(failing(1, [&] { return CloseHandle(file); }));
        oneHasFailed = failed;
    });
    withEachAllocationFailing([&](int count) {
        char name[MAX_PATH];
        failing(count, [&] { return GetTempFileNameA(path.c_str(), "oom", 0, name); });
    });
    withEachAllocationFailing([&](int count) {
        failing(count, [&] { return MoveFileExA(fresh.c_str(), moved.c_str(), MOVEFILE_REPLACE_EXISTING); });
    });
    withEachAllocationFailing([&](int count) {
        _finddata_t found{};
        const std::intptr_t search = failing(count, [&] { return _findfirst(pattern.c_str(), &found); });
        if (search != -1) _findclose(search);
    });
    withEachAllocationFailing([&](int count) {
        struct __stat64 status {};
        failing(count, [&] { return _stat64(old.c_str(), &status); });
    });
    withEachAllocationFailing([&](int count) { failing(count, [&] { return _access(old.c_str(), 0); }); });
    withEachAllocationFailing(
        [&](int count) { failing(count, [&] { return LoadLibraryExA("no such library", nullptr, 0) == nullptr; }); });
    withEachAllocationFailing([&](int count) {
        char name[MAX_PATH];
        failing(count, [&] { return GetModuleFileNameA(nullptr, name, MAX_PATH); });
    });
    withEachAllocationFailing([&](int count) {
        UUID id{};
        RPC_CSTR text = nullptr;
        UuidCreate(&id);
        if (failing(count, [&] { return UuidToStringA(&id, &text); }) == RPC_S_OK) RpcStringFreeA(&text);
    });
    withEachAllocationFailing([&](int count) { failing(count, [&] { return _unlink(old.c_str()); }); });
}
