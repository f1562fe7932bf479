// What the Linux layer adds of its own to files: limits of the system, links, and calls that it does not offer.
#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "object_handles.h"
#include "platform.h"
#include "temporary_folder.h"

using test::ObjectHandle;

namespace {

DWORD code(unsigned value) { return value; }

HANDLE createFile(const std::string& path, DWORD access, DWORD creation) {
    return CreateFileA(path.c_str(), access, FILE_SHARE_READ, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// No file of this process grows beyond a size while it lives; what goes beyond fails half way, as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : _formerAction(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &_former);
        const rlimit limit{bytes, _former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &_former);
        std::signal(SIGXFSZ, _formerAction);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit _former{};
    void (*_formerAction)(int);
};

TEST(PosixFiles, AWriteThatFailsHalfWayLeavesTheFileAsItWas) {
    const test::TemporaryFolder folder;
    const std::string path = folder.path("f");
    const ObjectHandle file(createFile(path, FILE_WRITE_DATA, CREATE_ALWAYS));
    const std::string bytes(8192, 'x');
    DWORD count = 0;
    ASSERT_TRUE(WriteFile(file.get(), "start", 5, &count, nullptr));
    {
        const FileSizeLimit limit(4096);
        EXPECT_FALSE(WriteFile(file.get(), bytes.data(), 8192, &count, nullptr));
        EXPECT_EQ(GetLastError(), code(ERROR_DISK_FULL));
        EXPECT_EQ(count, 0u);
    }
    EXPECT_EQ(contentOf(path), "start");
    EXPECT_TRUE(WriteFile(file.get(), "end", 3, &count, nullptr));
    EXPECT_EQ(contentOf(path), "startend");
}

TEST(PosixFiles, AFullDeviceIsAFullDisk) {
    const ObjectHandle file(createFile("/dev/full", FILE_WRITE_DATA, CREATE_ALWAYS));
    ASSERT_NE(file.get(), INVALID_HANDLE_VALUE);
    DWORD count = 99;
    EXPECT_FALSE(WriteFile(file.get(), "x", 1, &count, nullptr));
    EXPECT_EQ(GetLastError(), code(ERROR_DISK_FULL));
    EXPECT_EQ(count, 0u);
}

TEST(PosixFiles, ALinkToNothingIsFilledWithAFile) {
    const test::TemporaryFolder folder;
    ASSERT_EQ(symlink("target", folder.path("link").c_str()), 0);
    {
        const ObjectHandle file(createFile(folder.path("link"), FILE_WRITE_DATA, CREATE_ALWAYS));
        DWORD count = 0;
        EXPECT_TRUE(WriteFile(file.get(), "x", 1, &count, nullptr));
    }
    EXPECT_EQ(contentOf(folder.path("target")), "x");
}

TEST(PosixFiles, NewFilesFollowTheUsersMask) {
    const test::TemporaryFolder folder;
    const mode_t former = umask(027);
    { const ObjectHandle file(createFile(folder.path("f"), FILE_WRITE_DATA, CREATE_NEW)); }
    char name[MAX_PATH];
    EXPECT_NE(GetTempFileNameA(folder.path().c_str(), "ffw", 0, name), 0u);
    umask(former);
    struct stat status {};
    ASSERT_EQ(stat(folder.path("f").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0640u);
    std::string temporary = name;
    temporary[folder.path().size()] = '/';
    ASSERT_EQ(stat(temporary.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0640u);
}

TEST(PosixFiles, WhatTheLayerDoesNotOfferIsRefused) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("f", "x");
    const std::pair<DWORD, DWORD> refused[] = {
        {GENERIC_READ,     OPEN_ALWAYS  },
        {GENERIC_READ,     CREATE_ALWAYS},
        {FILE_WRITE_DATA,  OPEN_EXISTING},
        {FILE_WRITE_DATA,  OPEN_ALWAYS  },
        {FILE_APPEND_DATA, CREATE_NEW   },
        {0,                OPEN_EXISTING}
    };
    for (const auto& [access, creation] : refused) {
        EXPECT_EQ(createFile(path, access, creation), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), code(ERROR_NOT_SUPPORTED));
    }
    EXPECT_FALSE(MoveFileExA(path.c_str(), folder.path("to").c_str(), 0));
    EXPECT_EQ(GetLastError(), code(ERROR_NOT_SUPPORTED));
    char name[MAX_PATH];
    EXPECT_EQ(GetTempFileNameA(folder.path().c_str(), "ffw", 5, name), 0u);
    EXPECT_EQ(GetLastError(), code(ERROR_NOT_SUPPORTED));
    const ObjectHandle file(createFile(path, FILE_WRITE_DATA, CREATE_ALWAYS));
    DWORD count = 0;
    int overlapped = 0;
    EXPECT_FALSE(WriteFile(file.get(), "x", 1, &count, reinterpret_cast<OVERLAPPED*>(&overlapped)));
    EXPECT_EQ(GetLastError(), code(ERROR_NOT_SUPPORTED));
    EXPECT_EQ(contentOf(path), "");
}

TEST(PosixFiles, MovingAFolderOntoAFileIsRefused) {
    const test::TemporaryFolder folder;
    folder.file("sub/f", "x");
    EXPECT_FALSE(MoveFileExA(folder.path("sub").c_str(), folder.file("to", "y").c_str(), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
    EXPECT_EQ(contentOf(folder.path("to")), "y");
}

TEST(PosixFiles, OnlySearchesAreClosedAsSearches) {
    const test::TemporaryFolder folder;
    _finddata_t found{};
    const std::intptr_t search = _findfirst(folder.file("f", "").c_str(), &found);
    ASSERT_NE(search, -1);
    EXPECT_EQ(_findclose(search), 0);
    EXPECT_EQ(_findclose(search), -1);
    EXPECT_EQ(errno, EINVAL);
    const ObjectHandle file(createFile(folder.path("g"), FILE_WRITE_DATA, CREATE_NEW));
    EXPECT_EQ(_findclose(reinterpret_cast<std::intptr_t>(file.get())), -1);
    DWORD count = 0;
    EXPECT_TRUE(WriteFile(file.get(), "x", 1, &count, nullptr));
}

}  // namespace
