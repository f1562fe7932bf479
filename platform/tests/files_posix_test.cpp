// What the Linux layer adds for files: limits of the system, links, and calls that it does not support.
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
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

// While it lives, no file of this process grows beyond a size: larger writes fail half way, as on a full disk.
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

// As on Windows: bytes written before the failure stay and are counted.
TEST(PosixFiles, AWriteThatFailsHalfWayLeavesWhatWasWritten) {
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
        EXPECT_EQ(count, 4091u);
    }
    EXPECT_EQ(contentOf(path), "start" + bytes.substr(0, 4091));
    EXPECT_TRUE(WriteFile(file.get(), "end", 3, &count, nullptr));
    EXPECT_EQ(contentOf(path), "start" + bytes.substr(0, 4091) + "end");
}

TEST(PosixFiles, AFullDeviceIsAFullDisk) {
    const ObjectHandle file(createFile("/dev/full", FILE_WRITE_DATA, CREATE_ALWAYS));
    ASSERT_NE(file.get(), INVALID_HANDLE_VALUE);
    DWORD count = 99;
    EXPECT_FALSE(WriteFile(file.get(), "x", 1, &count, nullptr));
    EXPECT_EQ(GetLastError(), code(ERROR_DISK_FULL));
    EXPECT_EQ(count, 0u);
}

TEST(PosixFiles, FlushingAsksTheDevice) {
    const ObjectHandle file(createFile("/dev/full", FILE_WRITE_DATA, CREATE_ALWAYS));
    ASSERT_NE(file.get(), INVALID_HANDLE_VALUE);
    EXPECT_FALSE(FlushFileBuffers(file.get()));  // this one has no disk
    EXPECT_EQ(GetLastError(), code(ERROR_INVALID_PARAMETER));
}

// The flags of this process's one descriptor of a file; 0 without one.
int flagsOf(const std::string& path) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry.path(), error) != path) continue;
        std::ifstream info("/proc/self/fdinfo/" + entry.path().filename().string());
        for (std::string word; info >> word;) {
            if (word == "flags:" && info >> word) return std::stoi(word, nullptr, 8);
        }
    }
    return 0;
}

TEST(PosixFiles, WritingThroughIsTheDescriptorsAffairAndNoHandleIsInherited) {
    const test::TemporaryFolder folder;
    const std::string path = std::filesystem::canonical(folder.path()).string() + "/f";
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    for (const DWORD flag : {code(0), code(FILE_FLAG_WRITE_THROUGH)}) {
        for (const auto& [access, creation] :
             {std::pair{FILE_WRITE_DATA, CREATE_ALWAYS}, {FILE_APPEND_DATA, OPEN_ALWAYS}}) {
            const ObjectHandle file(CreateFileA(path.c_str(), access, FILE_SHARE_READ, &inheritable, creation,
                                                FILE_ATTRIBUTE_NORMAL | flag, nullptr));
            EXPECT_EQ((flagsOf(path) & O_DSYNC) != 0, flag != 0);
            EXPECT_TRUE(flagsOf(path) & O_CLOEXEC);
        }
    }
    const ObjectHandle file(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, &inheritable, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_TRUE(flagsOf(path) & O_CLOEXEC);
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
    // clang-format off
    const std::pair<DWORD, DWORD> refused[] = {
        {GENERIC_READ,     OPEN_ALWAYS  },
        {GENERIC_READ,     CREATE_ALWAYS},
        {FILE_WRITE_DATA,  OPEN_EXISTING},
        {FILE_WRITE_DATA,  OPEN_ALWAYS  },
        {FILE_APPEND_DATA, CREATE_NEW   },
        {0,                OPEN_EXISTING}
    };
    // clang-format on
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

// A temporary file, as a replacement creates it, that somebody moves away to put something else under its name.
class TakenTemporaryFile : public testing::Test {
protected:
    TakenTemporaryFile() {
        EXPECT_NE(GetTempFileNameA(_folder.path().c_str(), "ffw", 0, _name), 0u);
        _path = _name;
        _path[_folder.path().size()] = '/';
        EXPECT_EQ(chmod(_victim.c_str(), 0600), 0);
    }

    // Neither written, nor renamed, nor opened for others.
    void expectNoHarm() const {
        EXPECT_EQ(createFile(_name, FILE_WRITE_DATA, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
        platform_takePermissions(_folder.file("open", "x").c_str(), _name);
        EXPECT_FALSE(MoveFileExA(_name, _folder.file("target", "old").c_str(), MOVEFILE_REPLACE_EXISTING));
        EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
        EXPECT_EQ(contentOf(_folder.path("target")), "old");
        EXPECT_EQ(contentOf(_victim), "precious");
        struct stat status {};
        ASSERT_EQ(stat(_victim.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777u, 0600u);
    }

    test::TemporaryFolder _folder;
    const std::string _victim = _folder.file("victim", "precious");
    char _name[MAX_PATH];
    std::string _path;
};

TEST_F(TakenTemporaryFile, ALinkInItsPlaceIsNotFollowed) {
    ASSERT_EQ(unlink(_path.c_str()), 0);
    ASSERT_EQ(symlink(_victim.c_str(), _path.c_str()), 0);
    expectNoHarm();
}

TEST_F(TakenTemporaryFile, AnotherFileInItsPlaceIsNotWritten) {
    ASSERT_EQ(unlink(_path.c_str()), 0);
    ASSERT_EQ(link(_victim.c_str(), _path.c_str()), 0);
    expectNoHarm();
}

TEST_F(TakenTemporaryFile, ItselfIsWrittenRenamedAndForgotten) {
    {
        const ObjectHandle file(createFile(_name, FILE_WRITE_DATA, CREATE_ALWAYS));
        DWORD count = 0;
        EXPECT_TRUE(WriteFile(file.get(), "new", 3, &count, nullptr));
    }
    EXPECT_TRUE(MoveFileExA(_name, _folder.path("target").c_str(), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(contentOf(_folder.path("target")), "new");
    // From now on anything may have the name.
    ASSERT_EQ(symlink(_victim.c_str(), _path.c_str()), 0);
    const ObjectHandle file(createFile(_name, FILE_APPEND_DATA, OPEN_ALWAYS));
    EXPECT_NE(file.get(), INVALID_HANDLE_VALUE);
}

mode_t permissionsOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST(PosixFiles, PermissionsAreTakenOverAndTheOwnerMayWrite) {
    const test::TemporaryFolder folder;
    const std::string replaced = folder.file("old", "x");
    const std::string replacement = folder.file("new", "y");
    for (const auto& [old, taken] : {std::pair{0600u, 0600u}, {0640u, 0640u}, {0444u, 0644u}, {04755u, 0755u}}) {
        ASSERT_EQ(chmod(replaced.c_str(), old), 0);
        platform_takePermissions(replaced.c_str(), replacement.c_str());
        EXPECT_EQ(permissionsOf(replacement), taken);
    }
}

TEST(PosixFiles, PermissionsStayWhereNoFileIsReplaced) {
    const test::TemporaryFolder folder;
    const std::string replacement = folder.file("new", "y");
    ASSERT_EQ(chmod(replacement.c_str(), 0600), 0);
    platform_takePermissions(folder.path("missing").c_str(), replacement.c_str());
    platform_takePermissions(folder.path().c_str(), replacement.c_str());  // a folder
    EXPECT_EQ(permissionsOf(replacement), 0600u);
    platform_takePermissions(replacement.c_str(), folder.path("missing").c_str());
    EXPECT_EQ(contentOf(replacement), "y");
}

TEST(PosixFiles, AnOpenFileIsReplacedAndItsReaderKeepsTheOldContent) {
    const test::TemporaryFolder folder;
    const std::string to = folder.file("to", "old");
    const ObjectHandle reader(createFile(to, GENERIC_READ, OPEN_EXISTING));
    EXPECT_TRUE(MoveFileExA(folder.file("from", "new").c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(contentOf(to), "new");
    char bytes[4] = {};
    DWORD count = 0;
    EXPECT_TRUE(ReadFile(reader.get(), bytes, 3, &count, nullptr));
    EXPECT_STREQ(bytes, "old");
}

TEST(PosixFiles, MovingOntoALinkReplacesTheLink) {
    const test::TemporaryFolder folder;
    const std::string target = folder.file("target", "old");
    ASSERT_EQ(symlink("target", folder.path("link").c_str()), 0);
    EXPECT_TRUE(
        MoveFileExA(folder.file("from", "new").c_str(), folder.path("link").c_str(), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(contentOf(folder.path("link")), "new");
    EXPECT_EQ(contentOf(target), "old");
}

// As on Windows. Not tested on both systems, because Wine replaces such files.
TEST(PosixFiles, MovingNeverReplacesAReadOnlyFile) {
    const test::TemporaryFolder folder;
    const std::string to = folder.file("to", "old");
    for (const mode_t mode : {0444u, 0400u, 0466u}) {
        ASSERT_EQ(chmod(to.c_str(), mode), 0);
        const std::string from = folder.file("from", "new");
        EXPECT_FALSE(MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING));
        EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
        EXPECT_EQ(contentOf(to), "old");
        EXPECT_EQ(contentOf(from), "new");
        EXPECT_EQ(permissionsOf(to), mode);
    }
    ASSERT_EQ(chmod(to.c_str(), 0600), 0);
    EXPECT_TRUE(MoveFileExA(folder.path("from").c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING));
}

TEST(PosixFiles, ALinkToAReadOnlyFileIsReplacedAndTheFileStays) {
    const test::TemporaryFolder folder;
    const std::string target = folder.file("target", "old");
    ASSERT_EQ(chmod(target.c_str(), 0444), 0);
    ASSERT_EQ(symlink("target", folder.path("link").c_str()), 0);
    EXPECT_TRUE(
        MoveFileExA(folder.file("from", "new").c_str(), folder.path("link").c_str(), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(contentOf(folder.path("link")), "new");
    EXPECT_EQ(contentOf(target), "old");
}

TEST(PosixFiles, MovingAFolderOntoAFileIsRefused) {
    const test::TemporaryFolder folder;
    folder.file("sub/f", "x");
    EXPECT_FALSE(MoveFileExA(folder.path("sub").c_str(), folder.file("to", "y").c_str(), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
    EXPECT_EQ(contentOf(folder.path("to")), "y");
}

TEST(PosixFiles, AFileWhoseNameIsThePatternIsFoundFirst) {
    const test::TemporaryFolder folder;
    for (const char* name : {"aa", "a?", "a*"}) folder.file(name, "");
    for (const char* name : {"a?", "a*"}) {
        _finddata_t found{};
        const std::intptr_t search = _findfirst(folder.path(name).c_str(), &found);
        EXPECT_NE(search, -1);
        EXPECT_STREQ(found.name, name);
        _findclose(search);
    }
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

namespace {

/// A forked child that lives until the test lets it go.
class ForkedChild {
public:
    /// @param before  Runs in the child first.
    template <typename Function>
    explicit ForkedChild(Function before) {
        if (pipe2(_done, O_CLOEXEC) != 0 || pipe2(_leave, O_CLOEXEC) != 0) return;
        _child = fork();
        if (_child == 0) {
            alarm(60);
            before();
            char byte = 0;
            const bool told = write(_done[1], "d", 1) == 1;
            close(_leave[1]);
            _exit(told && read(_leave[0], &byte, 1) == 0 ? 0 : 1);
        }
        char byte = 0;
        EXPECT_EQ(read(_done[0], &byte, 1), 1);
    }
    ~ForkedChild() {
        close(_leave[1]);
        int status = 0;
        while (waitpid(_child, &status, 0) < 0 && errno == EINTR) continue;
        EXPECT_EQ(status, 0);
        for (const int end : {_done[0], _done[1], _leave[0]}) close(end);
    }
    ForkedChild(const ForkedChild&) = delete;
    ForkedChild& operator=(const ForkedChild&) = delete;

private:
    int _done[2] = {-1, -1};
    int _leave[2] = {-1, -1};
    pid_t _child = -1;
};

}  // namespace

TEST(PosixFiles, AFileThatWasClosedCanBeWrittenAgainWhileAForkedChildLives) {
    const test::TemporaryFolder folder;
    ObjectHandle file(createFile(folder.path("f"), FILE_WRITE_DATA, CREATE_ALWAYS));
    const ForkedChild child([] {});
    file.close();
    ObjectHandle again(createFile(folder.path("f"), FILE_WRITE_DATA, CREATE_ALWAYS));
    EXPECT_NE(again.get(), INVALID_HANDLE_VALUE) << GetLastError();
}

TEST(PosixFiles, AFileThatAForkedChildClosesStaysItsParents) {
    const test::TemporaryFolder folder;
    ObjectHandle file(createFile(folder.path("f"), FILE_WRITE_DATA, CREATE_ALWAYS));
    const ForkedChild child([&] { file.close(); });
    EXPECT_EQ(createFile(folder.path("f"), FILE_WRITE_DATA, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), code(ERROR_SHARING_VIOLATION));
}
