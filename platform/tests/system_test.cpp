#include <atomic>
#include <cerrno>
#include <set>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "child_process.h"
#include "object_handles.h"
#include "platform.h"
#include "temporary_folder.h"

using test::ObjectHandle;
using testing::MatchesRegex;
using testing::StrEq;

namespace {

ObjectHandle openForReading(const std::string& path) {
    return ObjectHandle(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::string formatted(const char* format, ...) {
    char buffer[200];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = platform_vformat(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return length < 0 ? "failed" : buffer;
}

}  // namespace

TEST(Format, SizesPrintInFull) {
    EXPECT_EQ(formatted("%Iu", SIZE_MAX), "18446744073709551615");
    EXPECT_EQ(formatted("%Id|%Iu|%d", static_cast<std::ptrdiff_t>(-1), std::size_t{1} << 40, 5), "-1|1099511627776|5");
    EXPECT_EQ(formatted("%I64u %I64d %I32u", 18446744073709551615ull, -9223372036854775807ll, 7u),
              "18446744073709551615 -9223372036854775807 7");
    EXPECT_EQ(formatted("%zu %lld %5Iu|%-5Iu|%05Iu", SIZE_MAX, -5ll, std::size_t{7}, std::size_t{7}, std::size_t{7}),
              "18446744073709551615 -5     7|7    |00007");
}

TEST(Format, AnIThatIsNoPrefixStays) {
    EXPECT_EQ(formatted("I %% I %%Iu %s %cI", "Iu", 'I'), "I % I %Iu Iu II");
    EXPECT_EQ(formatted("%.40s", "Illinois"), "Illinois");
}

TEST(Format, ALongTextIsCutAndItsLengthTold) {
    char buffer[5] = "....";
    EXPECT_EQ(platform_format(buffer, sizeof buffer, "%s", "abcdefgh"), 8);
    EXPECT_THAT(buffer, StrEq("abcd"));
    EXPECT_EQ(platform_format(nullptr, 0, "%Iu", std::size_t{12345}), 5);
}

TEST(LastError, BelongsToTheThread) {
    std::atomic<int> step{0};
    std::thread other([&] {
        while (step != 1) std::this_thread::yield();
        SetLastError(8);
        step = 2;
    });
    SetLastError(7);
    step = 1;
    while (step != 2) std::this_thread::yield();
    const DWORD kept = GetLastError();  // before the join, which sets it on Windows
    other.join();
    EXPECT_EQ(kept, 7u);
}

TEST(Clock, RunsForwardAndAgreesWithTheCounter) {
    LARGE_INTEGER frequency{};
    LARGE_INTEGER before{};
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    ASSERT_GT(frequency.QuadPart, 0);
    ASSERT_TRUE(QueryPerformanceCounter(&before));
    const std::int64_t middle = platform_monotonicNanoseconds();
    LARGE_INTEGER after{};
    QueryPerformanceCounter(&after);
    const auto seconds = [&](const LARGE_INTEGER& count) {
        return static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
    };
    EXPECT_LE(seconds(before), static_cast<double>(middle) * 1e-9 + 1e-6);
    EXPECT_GE(seconds(after), static_cast<double>(middle) * 1e-9 - 1e-6);
}

TEST(Clock, SleepsAtLeastToTheDeadline) {
    for (const std::int64_t milliseconds : {0, 1, 7, 150}) {
        const std::int64_t deadline = platform_monotonicNanoseconds() + milliseconds * 1'000'000;
        EXPECT_TRUE(platform_sleepUntil(deadline));
        EXPECT_GE(platform_monotonicNanoseconds(), deadline);
    }
}

TEST(CriticalSection, ExcludesOtherThreadsAndLetsItsOwnInAgain) {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 10'000; ++i) {
            EnterCriticalSection(&section);
            EnterCriticalSection(&section);
            ++count;
            LeaveCriticalSection(&section);
            LeaveCriticalSection(&section);
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(count, 20'000);
    DeleteCriticalSection(&section);
}

TEST(Files, AreReadToTheirEnd) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("data.bin", std::string("ab\0\r\nc", 6));
    const auto file = openForReading(path);
    char buffer[10] = {};
    DWORD count = 99;
    ASSERT_TRUE(ReadFile(file.get(), buffer, 4, &count, nullptr));
    EXPECT_EQ(count, 4u);
    ASSERT_TRUE(ReadFile(file.get(), buffer + 4, 6, &count, nullptr));
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(std::string(buffer, 6), std::string("ab\0\r\nc", 6));
    ASSERT_TRUE(ReadFile(file.get(), buffer, 6, &count, nullptr));
    EXPECT_EQ(count, 0u);
}

TEST(Files, BothSeparatorsLeadIntoFolders) {
    const test::TemporaryFolder folder;
    folder.file("a/b.txt", "x");
    EXPECT_NE(openForReading(folder.path() + "\\a\\b.txt").get(), INVALID_HANDLE_VALUE);
    EXPECT_NE(openForReading(folder.path() + "/a/b.txt").get(), INVALID_HANDLE_VALUE);
    EXPECT_EQ(_access((folder.path() + "\\a/b.txt").c_str(), 0), 0);
}

TEST(Files, AnAbsentOneAndAFolderAreRefused) {
    const test::TemporaryFolder folder;
    const HANDLE absent = CreateFileA(folder.path("none").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(absent, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    const HANDLE opened = CreateFileA(folder.path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(opened, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(Files, AccessTellsWhetherAFileIsThere) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(_access(folder.file("there", "").c_str(), 0), 0);
    EXPECT_EQ(_access(folder.path("not_there").c_str(), 0), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(_access("", 0), -1);
}

TEST(Files, ReadingFromSomethingElseIsRefused) {
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    char byte = 0;
    DWORD count = 0;
    EXPECT_FALSE(ReadFile(nullptr, &byte, 1, &count, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(Identities, AreLowerCaseAndNeverTheSame) {
    std::set<std::string> seen;
    for (int i = 0; i < 1'000; ++i) {
        UUID uuid{};
        const RPC_STATUS status = UuidCreateSequential(&uuid);
        ASSERT_TRUE(status == RPC_S_OK || status == RPC_S_UUID_LOCAL_ONLY);
        RPC_CSTR text = nullptr;
        ASSERT_EQ(UuidToStringA(&uuid, &text), RPC_S_OK);
        const std::string copy = reinterpret_cast<const char*>(text);
        ASSERT_EQ(RpcStringFreeA(&text), RPC_S_OK);
        ASSERT_EQ(copy.size(), 36u);
        EXPECT_EQ(copy.find_first_not_of("0123456789abcdef-"), std::string::npos);
        seen.insert(copy);
    }
    EXPECT_EQ(seen.size(), 1'000u);
}

TEST(BitmapDescription, Has44Bytes) { EXPECT_EQ(sizeof(tagBITMAPINFO), 44u); }

TEST(Report, GoesToStandardErrorAsLongAsNobodyHasFilledThePlace) {
    testing::internal::CaptureStderr();
    SetLastError(ERROR_FILE_NOT_FOUND);
    platform_report("50% of something");
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "50% of something\n");
}

TEST(Report, GoesToTheOneFunctionThatWasGivenAndLeavesTheLastError) {
    static std::string told;
    platform_setReport([](const char* text) {
        told = text;
        SetLastError(ERROR_SUCCESS);
    });
    testing::internal::CaptureStderr();
    SetLastError(ERROR_FILE_NOT_FOUND);
    platform_report("something");
    platform_setReport(nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(told, "something");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
