// Where the Linux layer deliberately differs from Windows: both answers side by side. platform_posix.h gives the
// reasons.
#include <cerrno>
#include <string>

#include <gmock/gmock.h>

#include "child_process.h"
#include "object_handles.h"
#include "platform.h"
#include "temporary_folder.h"

using test::ObjectHandle;

namespace {

#if defined(_WIN32)
constexpr bool kWindows = true;
#else
constexpr bool kWindows = false;
#endif

HANDLE openFile(const std::string& path, DWORD access, DWORD creation) {
    return CreateFileA(path.c_str(), access, FILE_SHARE_READ | (access == GENERIC_READ ? FILE_SHARE_WRITE : 0), nullptr,
                       creation, FILE_ATTRIBUTE_NORMAL, nullptr);
}

ObjectHandle reader(const std::string& path) { return ObjectHandle(openFile(path, GENERIC_READ, OPEN_EXISTING)); }

BOOL move(const std::string& from, const std::string& to) {
    SetLastError(ERROR_SUCCESS);
    return MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING);
}

bool exists(const std::string& path) { return _access(path.c_str(), 0) == 0; }

class ExceptionsTest : public testing::Test {
protected:
    test::TemporaryFolder _folder;
};

class OddFileNamesTest : public ExceptionsTest, public testing::WithParamInterface<char> {};

}  // namespace

TEST_P(OddFileNamesTest, AreOrdinaryOnLinux) {
    const std::string path = _folder.path(std::string("a") + GetParam() + "b");
    {
        const HANDLE made = openFile(path, FILE_WRITE_DATA, CREATE_NEW);
        EXPECT_EQ(made == INVALID_HANDLE_VALUE, kWindows);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(kWindows ? ERROR_INVALID_NAME : ERROR_SUCCESS));
        if (made != INVALID_HANDLE_VALUE) CloseHandle(made);
    }
    EXPECT_EQ(exists(path), !kWindows);
    const HANDLE read = openFile(path, GENERIC_READ, OPEN_EXISTING);
    EXPECT_EQ(read == INVALID_HANDLE_VALUE, kWindows);
    if (read != INVALID_HANDLE_VALUE) CloseHandle(read);
    EXPECT_EQ(move(path, _folder.path("plain")) != FALSE, !kWindows);
    EXPECT_EQ(openFile(path + "/f", GENERIC_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(kWindows ? ERROR_INVALID_NAME : ERROR_PATH_NOT_FOUND));
}

INSTANTIATE_TEST_SUITE_P(With, OddFileNamesTest, testing::Values('?', '*', '<', '>', '|', '"', '\t'),
                         [](const auto& information) { return "Character" + std::to_string(information.param); });

TEST_F(ExceptionsTest, AFileThatSomebodyReadsCanBeRenamedOnLinux) {
    const std::string path = _folder.file("f", "x");
    const auto reading = reader(path);
    EXPECT_EQ(move(path, _folder.path("g")) != FALSE, !kWindows);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(kWindows ? ERROR_SHARING_VIOLATION : ERROR_SUCCESS));
}

TEST_F(ExceptionsTest, AFileThatSomebodyReadsCanBeReplacedOnLinux) {
    const std::string path = _folder.file("f", "x");
    const auto reading = reader(path);
    EXPECT_EQ(move(_folder.file("g", "y"), path) != FALSE, !kWindows);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(kWindows ? ERROR_ACCESS_DENIED : ERROR_SUCCESS));
}

TEST_F(ExceptionsTest, AFileThatSomebodyReadsCanBeRemovedOnLinux) {
    const std::string path = _folder.file("f", "x");
    const auto reading = reader(path);
    errno = 0;
    EXPECT_EQ(_unlink(path.c_str()), kWindows ? -1 : 0);
    EXPECT_EQ(errno, kWindows ? EACCES : 0);
}

TEST_F(ExceptionsTest, LettersOfBothCasesAndATrailingDotMakeAnotherNameOnLinux) {
    _folder.file("name", "x");
    EXPECT_EQ(exists(_folder.path("NAME")), kWindows);
    EXPECT_EQ(exists(_folder.path("name.")), kWindows);
}

TEST_F(ExceptionsTest, AParentIsThatOfAFolderThatExistsOnLinux) {
    _folder.file("f", "x");
    SetLastError(ERROR_SUCCESS);
    const auto reading = reader(_folder.path() + "/missing/../f");
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(kWindows ? ERROR_SUCCESS : ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(reading.get() != INVALID_HANDLE_VALUE, kWindows);
}

TEST_F(ExceptionsTest, FoldersOfOtherSessionsAreNoNamesOnLinux) {
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, "Session\\1\\X"));
    if (kWindows) return;  // depends on the account's privileges there
    EXPECT_EQ(event.get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
}

namespace {

// More memory than any machine has that runs this test: 2^40 bytes.
void expectNoMemory(const char* name) {
    const ObjectHandle mapping(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 256, 0, name));
    const DWORD error = GetLastError();
    if (!kWindows) {
        EXPECT_EQ(mapping.get(), nullptr);
        EXPECT_EQ(error, static_cast<DWORD>(ERROR_COMMITMENT_LIMIT));
    }
    EXPECT_EQ(MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0), nullptr);
}

}  // namespace

TEST_F(ExceptionsTest, MemoryThatIsNotThereIsRefusedAtOnceOnLinuxAndAtTheLatestByTheViewOnWindows) {
    expectNoMemory(test::uniqueName("great").c_str());
    expectNoMemory(nullptr);
}
