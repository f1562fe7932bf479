// Writing, renaming, removing and finding files: what every caller may rely on, on both systems.
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include <gmock/gmock.h>

#include "object_handles.h"
#include "platform.h"
#include "temporary_folder.h"

using test::ObjectHandle;

namespace {

DWORD code(unsigned value) { return value; }

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class FilesTest : public testing::Test {
protected:
    static ObjectHandle open(const std::string& path, DWORD access, DWORD creation, DWORD flags = 0) {
        const DWORD share = access == GENERIC_READ ? FILE_SHARE_READ | FILE_SHARE_WRITE : FILE_SHARE_READ;
        return ObjectHandle(
            CreateFileA(path.c_str(), access, share, nullptr, creation, FILE_ATTRIBUTE_NORMAL | flags, nullptr));
    }

    static ObjectHandle create(const std::string& path) { return open(path, FILE_WRITE_DATA, CREATE_ALWAYS); }

    static bool write(const ObjectHandle& file, const std::string& bytes) {
        DWORD count = 99;
        const BOOL done = WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
        EXPECT_EQ(count, done ? bytes.size() : 0u);
        return done != FALSE;
    }

    static bool refused(const ObjectHandle& file, unsigned error) {
        const DWORD last = GetLastError();
        EXPECT_EQ(last, code(error));
        return file.get() == INVALID_HANDLE_VALUE;
    }

    test::TemporaryFolder _folder;
};

// ------------------------------------------------------------------------------------------------------------ writing

TEST_F(FilesTest, CreateNewMakesAFileAndRefusesAnExistingOne) {
    const std::string path = _folder.path("f");
    {
        const auto file = open(path, FILE_WRITE_DATA, CREATE_NEW);
        EXPECT_TRUE(write(file, "first"));
    }
    EXPECT_TRUE(refused(open(path, FILE_WRITE_DATA, CREATE_NEW), ERROR_FILE_EXISTS));
    EXPECT_EQ(contentOf(path), "first");
}

TEST_F(FilesTest, CreateAlwaysEmptiesAnExistingFileAndSaysThatItExisted) {
    const std::string path = _folder.path("f");
    SetLastError(7);
    { EXPECT_TRUE(write(create(path), "a longer text")); }
    {
        const auto file = create(path);
        EXPECT_EQ(GetLastError(), code(ERROR_ALREADY_EXISTS));
        EXPECT_EQ(contentOf(path), "");
        EXPECT_TRUE(write(file, "short"));
    }
    EXPECT_EQ(contentOf(path), "short");
    const auto fresh = create(_folder.path("g"));
    EXPECT_EQ(GetLastError(), code(ERROR_SUCCESS));
}

TEST_F(FilesTest, AppendingWritesBehindWhatIsThere) {
    const std::string path = _folder.path("f");
    for (const char* text : {"one", "two"}) {
        const auto file = open(path, FILE_APPEND_DATA, OPEN_ALWAYS);
        EXPECT_EQ(GetLastError(), code(*text == 'o' ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS));
        EXPECT_TRUE(write(file, text));
        EXPECT_TRUE(write(file, "."));
    }
    EXPECT_EQ(contentOf(path), "one.two.");
}

TEST_F(FilesTest, WritesFollowEachOther) {
    const std::string path = _folder.path("f");
    {
        const auto file = create(path);
        for (const char* part : {"a", "", "bc", "def"}) EXPECT_TRUE(write(file, part));
    }
    EXPECT_EQ(contentOf(path), "abcdef");
}

TEST_F(FilesTest, AFileIsEndedAtItsPositionAndGrowsFromThere) {
    const std::string path = _folder.path("f");
    const auto file = create(path);
    EXPECT_TRUE(write(file, "abcdef"));
    LARGE_INTEGER position{};
    position.QuadPart = 2;
    EXPECT_TRUE(SetFilePointerEx(file.get(), position, nullptr, FILE_BEGIN));
    EXPECT_EQ(contentOf(path), "abcdef");
    EXPECT_TRUE(SetEndOfFile(file.get()));
    EXPECT_EQ(contentOf(path), "ab");
    EXPECT_TRUE(write(file, "X"));
    EXPECT_EQ(contentOf(path), "abX");
    position.QuadPart = -1;
    EXPECT_FALSE(SetFilePointerEx(file.get(), position, nullptr, FILE_BEGIN));
    EXPECT_EQ(GetLastError(), code(ERROR_NEGATIVE_SEEK));
    EXPECT_FALSE(SetEndOfFile(open(path, GENERIC_READ, OPEN_EXISTING).get()));
    EXPECT_EQ(contentOf(path), "abX");
    EXPECT_FALSE(SetEndOfFile(nullptr));
    EXPECT_EQ(GetLastError(), code(ERROR_INVALID_HANDLE));
}

TEST_F(FilesTest, WriteThroughWritesTheSameBytes) {
    const std::string path = _folder.path("f");
    { EXPECT_TRUE(write(open(path, FILE_WRITE_DATA, CREATE_ALWAYS, FILE_FLAG_WRITE_THROUGH), "bytes")); }
    EXPECT_EQ(contentOf(path), "bytes");
}

TEST_F(FilesTest, ASecondWriterIsRefusedAndLeavesTheFileAlone) {
    const std::string path = _folder.path("f");
    const auto file = create(path);
    EXPECT_TRUE(write(file, "kept"));
    EXPECT_TRUE(refused(create(path), ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(refused(open(path, FILE_APPEND_DATA, OPEN_ALWAYS), ERROR_SHARING_VIOLATION));
    EXPECT_EQ(contentOf(path), "kept");
}

TEST_F(FilesTest, AWriterThatClosedMakesRoomForTheNext) {
    const std::string path = _folder.path("f");
    auto file = create(path);
    file.close();
    EXPECT_NE(open(path, FILE_APPEND_DATA, OPEN_ALWAYS).get(), INVALID_HANDLE_VALUE);
}

TEST_F(FilesTest, AReaderSeesWhatAWriterHasWrittenSoFar) {
    const std::string path = _folder.path("f");
    const auto file = create(path);
    EXPECT_TRUE(write(file, "abc"));
    const auto reader = open(path, GENERIC_READ, OPEN_EXISTING);
    char bytes[10] = {};
    DWORD count = 0;
    EXPECT_TRUE(ReadFile(reader.get(), bytes, sizeof bytes, &count, nullptr));
    EXPECT_EQ(std::string(bytes, count), "abc");
}

TEST_F(FilesTest, AWriterMayComeWhileAReaderReads) {
    const std::string path = _folder.file("f", "old");
    const auto reader = open(path, GENERIC_READ, OPEN_EXISTING);
    EXPECT_NE(create(path).get(), INVALID_HANDLE_VALUE);
}

TEST_F(FilesTest, AFolderCannotBeWritten) {
    EXPECT_TRUE(refused(create(_folder.path()), ERROR_ACCESS_DENIED));
    EXPECT_TRUE(refused(open(_folder.path(), FILE_APPEND_DATA, OPEN_ALWAYS), ERROR_ACCESS_DENIED));
    EXPECT_TRUE(refused(open(_folder.path(), FILE_WRITE_DATA, CREATE_NEW), ERROR_FILE_EXISTS));
}

TEST_F(FilesTest, AMissingFolderIsToldFromAMissingFile) {
    const std::string inside = _folder.path() + "/missing/f";
    EXPECT_TRUE(refused(create(inside), ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(refused(open(inside, FILE_WRITE_DATA, CREATE_NEW), ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(refused(open(inside, GENERIC_READ, OPEN_EXISTING), ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(refused(open(_folder.path("missing"), GENERIC_READ, OPEN_EXISTING), ERROR_FILE_NOT_FOUND));
}

namespace {

// Results of the four ways of opening; 0: success.
struct Answers {
    const char* name;
    const char* path;  // after the test's folder, which contains the file "f" and the folder "sub"
    DWORD read;
    DWORD createNew;
    DWORD createAlways;
    DWORD append;
};

class FileErrorsTest : public FilesTest, public testing::WithParamInterface<Answers> {
protected:
    FileErrorsTest() {
        _folder.file("f", "x");
        _folder.file("sub/g", "y");
    }

    static DWORD errorOf(const std::string& path, DWORD access, DWORD creation) {
        const auto file = open(path, access, creation);
        return file.get() == INVALID_HANDLE_VALUE ? GetLastError() : 0;
    }
};

}  // namespace

TEST_P(FileErrorsTest, AreThoseOfWindows) {
    const std::string path = _folder.path() + GetParam().path;
    EXPECT_EQ(errorOf(path, GENERIC_READ, OPEN_EXISTING), GetParam().read);
    EXPECT_EQ(errorOf(path, FILE_WRITE_DATA, CREATE_NEW), GetParam().createNew);
    EXPECT_EQ(errorOf(path, FILE_WRITE_DATA, CREATE_ALWAYS), GetParam().createAlways);
    EXPECT_EQ(errorOf(path, FILE_APPEND_DATA, OPEN_ALWAYS), GetParam().append);
    EXPECT_EQ(contentOf(_folder.path("f")), "x");
}

// clang-format off
constexpr Answers kAnswers[] = {
  // name                          path                  read  new  always append
    {"AFileAsAFolder",                              "\\f\\x",          3,   3,   3,   3  },
    {"AFileAsAFolderOfAFolder",                     "\\f\\x\\y",       3,   3,   3,   3  },
    {"AMissingFolder",                              "\\missing\\x",    3,   3,   3,   3  },
    {"AMissingFolderOfAMissingOne",                 "\\missing\\m\\x", 3,   3,   3,   3  },
    {"AFileWithASeparatorBehind",                   "\\f\\",           123, 80,  123, 123},
    {"NothingWithASeparatorBehind",                 "\\missing\\",     2,   123, 123, 123},
    {"NothingInAMissingFolderWithASeparatorBehind", "\\missing\\m\\",  3,   3,   3,   3  },
    {"AFolderWithASeparatorBehind",                 "\\sub\\",         5,   80,  5,   5  },
    {"AFolderWithASlashBehind",                     "/sub/",           5,   80,  5,   5  },
    {"AFolder",                                     "\\sub",           5,   80,  5,   5  },
    {"TheFolderItself",                             "\\sub\\.",        5,   80,  5,   5  },
    {"TheParentFolder",                             "\\sub\\..",       5,   80,  5,   5  }
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Of, FileErrorsTest, testing::ValuesIn(kAnswers),
                         [](const auto& information) { return std::string(information.param.name); });

TEST_F(FilesTest, AnEmptyNameIsNoPath) {
    EXPECT_TRUE(refused(open("", GENERIC_READ, OPEN_EXISTING), ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(refused(open("", FILE_WRITE_DATA, CREATE_NEW), ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(refused(open("", FILE_WRITE_DATA, CREATE_ALWAYS), ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(refused(open("", FILE_APPEND_DATA, OPEN_ALWAYS), ERROR_PATH_NOT_FOUND));
    const std::string file = _folder.file("f", "x");
    EXPECT_FALSE(MoveFileExA(file.c_str(), "", MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(GetLastError(), code(ERROR_PATH_NOT_FOUND));
    EXPECT_FALSE(MoveFileExA("", file.c_str(), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(GetLastError(), code(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(contentOf(file), "x");
}

TEST_F(FilesTest, BothSeparatorsLeadIntoFoldersForWritingToo) {
    _folder.file("sub/old", "");
    { EXPECT_TRUE(write(create(_folder.path() + "\\sub\\f"), "x")); }
    EXPECT_EQ(contentOf(_folder.path() + "/sub/f"), "x");
}

TEST_F(FilesTest, AFileOpenForReadingCannotBeWrittenNorFlushed) {
    const auto file = open(_folder.file("f", "x"), GENERIC_READ, OPEN_EXISTING);
    EXPECT_FALSE(write(file, "y"));
    EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(FlushFileBuffers(file.get()));
    EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
}

TEST_F(FilesTest, AFileOpenForWritingCannotBeRead) {
    const auto file = create(_folder.path("f"));
    char byte = 0;
    DWORD count = 99;
    EXPECT_FALSE(ReadFile(file.get(), &byte, 1, &count, nullptr));
    EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
    EXPECT_EQ(count, 0u);
}

TEST_F(FilesTest, FlushTakesWritersAndNothingElse) {
    const auto file = create(_folder.path("f"));
    EXPECT_TRUE(write(file, "x"));
    EXPECT_TRUE(FlushFileBuffers(file.get()));
    const auto appending = open(_folder.path("g"), FILE_APPEND_DATA, OPEN_ALWAYS);
    EXPECT_TRUE(FlushFileBuffers(appending.get()));
    EXPECT_FALSE(FlushFileBuffers(INVALID_HANDLE_VALUE));
    EXPECT_EQ(GetLastError(), code(ERROR_INVALID_HANDLE));
}

TEST_F(FilesTest, WritingToSomethingElseIsRefused) {
    EXPECT_FALSE(write(ObjectHandle(nullptr), "x"));
    EXPECT_EQ(GetLastError(), code(ERROR_INVALID_HANDLE));
}

// ---------------------------------------------------------------------------------------------------- temporary names

class TemporaryNamesTest : public FilesTest {
protected:
    UINT make(const std::string& folder, const char* prefix = "ffw") {
        return GetTempFileNameA(folder.c_str(), prefix, 0, _name);
    }

    char _name[MAX_PATH] = {};
};

TEST_F(TemporaryNamesTest, AreFreshEmptyFilesInTheFolder) {
    std::set<std::string> names;
    for (int count = 0; count < 50; ++count) {
        const UINT number = make(_folder.path());
        ASSERT_NE(number, 0u);
        char end[32];
        platform_format(end, sizeof end, "ffw%X.tmp", number);
        EXPECT_STRCASEEQ(_name + _folder.path().size() + 1, end);
        struct __stat64 status {};
        EXPECT_EQ(_stat64(_name, &status), 0);
        EXPECT_EQ(status.st_size, 0);
        names.insert(_name);
    }
    EXPECT_EQ(names.size(), 50u);
}

TEST_F(TemporaryNamesTest, FollowTheFolderAsItWasGiven) {
    ASSERT_NE(make(_folder.path()), 0u);
    EXPECT_EQ(std::string(_name).substr(0, _folder.path().size() + 4), _folder.path() + "\\ffw");
    ASSERT_NE(make(_folder.path() + "\\"), 0u);
    EXPECT_EQ(std::string(_name).substr(0, _folder.path().size() + 4), _folder.path() + "\\ffw");
}

TEST_F(TemporaryNamesTest, TakeThreeCharactersOfThePrefix) {
    ASSERT_NE(make(_folder.path(), "abcxef"), 0u);
    EXPECT_EQ(std::string(_name).substr(_folder.path().size(), 4), "\\abc");
    EXPECT_NE(_name[_folder.path().size() + 4], 'x') << "numbers are hexadecimal";
}

TEST_F(TemporaryNamesTest, NeedAFolder) {
    for (const std::string& folder : {std::string(), _folder.path("missing"), _folder.file("f", "")}) {
        EXPECT_EQ(make(folder), 0u);
        EXPECT_EQ(GetLastError(), code(ERROR_DIRECTORY)) << folder;
    }
}

TEST_F(TemporaryNamesTest, NeedRoomForTheFoldersName) {
    EXPECT_EQ(make(std::string(247, 'x')), 0u);
    EXPECT_NE(GetLastError(), code(ERROR_SUCCESS));
    EXPECT_STREQ(_name, "");
}

// ------------------------------------------------------------------------------------------------- renaming, removing

BOOL move(const std::string& from, const std::string& to) {
    return MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING);
}

TEST_F(FilesTest, MovingReplacesAnExistingFile) {
    const std::string from = _folder.file("from", "new");
    const std::string to = _folder.file("to", "old");
    EXPECT_TRUE(move(from, to));
    EXPECT_EQ(contentOf(to), "new");
    EXPECT_EQ(_access(from.c_str(), 0), -1);
}

TEST_F(FilesTest, MovingLeadsIntoFoldersByBothSeparators) {
    const std::string from = _folder.file("from", "x");
    _folder.file("sub/other", "");
    EXPECT_TRUE(move(from, _folder.path() + "\\sub/to"));
    EXPECT_EQ(contentOf(_folder.path() + "/sub/to"), "x");
}

TEST_F(FilesTest, MovingOntoItselfChangesNothing) {
    const std::string path = _folder.file("f", "x");
    EXPECT_TRUE(move(path, path));
    EXPECT_EQ(contentOf(path), "x");
}

TEST_F(FilesTest, MovingNothingIsRefused) {
    EXPECT_FALSE(move(_folder.path("missing"), _folder.path("to")));
    EXPECT_EQ(GetLastError(), code(ERROR_FILE_NOT_FOUND));
}

TEST_F(FilesTest, MovingIntoAMissingFolderIsRefused) {
    const std::string from = _folder.file("from", "x");
    EXPECT_FALSE(move(from, _folder.path() + "/missing/to"));
    EXPECT_EQ(GetLastError(), code(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(contentOf(from), "x");
}

TEST_F(FilesTest, MovingNeverReplacesAFolder) {
    const std::string from = _folder.file("from", "x");
    _folder.file("sub/other", "");
    EXPECT_FALSE(move(from, _folder.path("sub")));
    EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
}

TEST_F(FilesTest, MovingTakesAReadOnlyFileToANewName) {
    using std::filesystem::perms;
    const std::string from = _folder.file("from", "x");
    const std::string to = _folder.path("to");
    std::filesystem::permissions(from, perms::owner_read | perms::group_read | perms::others_read);
    EXPECT_TRUE(move(from, to));
    EXPECT_TRUE(move(to, to));
    std::filesystem::permissions(to, perms::owner_write, std::filesystem::perm_options::add);
    EXPECT_EQ(contentOf(to), "x");
}

TEST_F(FilesTest, MovingTakesFoldersToANewName) {
    _folder.file("sub/f", "x");
    EXPECT_TRUE(move(_folder.path("sub"), _folder.path("other")));
    EXPECT_EQ(contentOf(_folder.path() + "/other/f"), "x");
}

TEST_F(FilesTest, MovingFromOrToAFileAsAFolderIsRefused) {
    const std::string from = _folder.file("from", "x");
    const std::string below = _folder.file("f", "y") + "\\x";
    EXPECT_FALSE(move(from, below));
    EXPECT_EQ(GetLastError(), code(ERROR_PATH_NOT_FOUND));
    EXPECT_FALSE(move(below, _folder.path("to")));
    EXPECT_EQ(GetLastError(), code(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(contentOf(from), "x");
}

TEST_F(FilesTest, MovingWithASeparatorBehindAFileIsRefused) {
    const std::string from = _folder.file("from", "x");
    _folder.file("sub/other", "");
    EXPECT_FALSE(move(from, _folder.path("sub") + "\\"));
    EXPECT_EQ(GetLastError(), code(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(move(_folder.path("missing") + "\\", _folder.path("to")));
    EXPECT_EQ(GetLastError(), code(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(move(from + "\\", _folder.path("to")));
    EXPECT_EQ(GetLastError(), code(ERROR_INVALID_NAME));
    EXPECT_FALSE(move(from, _folder.path("missing") + "\\"));
    EXPECT_EQ(GetLastError(), code(ERROR_DIRECTORY));
    EXPECT_EQ(contentOf(from), "x");
}

TEST_F(FilesTest, NothingIsFoundBelowAFile) {
    const std::string file = _folder.file("f", "x");
    const std::string below = file + "\\x";
    const std::string behind = file + "\\";
    struct __stat64 status {};
    _finddata_t found{};
    const auto errorOf = [](auto result) { return result == -1 ? errno : 0; };
    EXPECT_EQ(errorOf(_stat64(below.c_str(), &status)), ENOENT);
    EXPECT_EQ(errorOf(_stat64(behind.c_str(), &status)), ENOENT);
    EXPECT_EQ(errorOf(_access(below.c_str(), 0)), ENOENT);
    EXPECT_EQ(errorOf(_findfirst(below.c_str(), &found)), EINVAL);
    EXPECT_EQ(errorOf(_findfirst(behind.c_str(), &found)), ENOENT);
    EXPECT_EQ(errorOf(_unlink(below.c_str())), ENOENT);
    EXPECT_EQ(errorOf(_unlink(behind.c_str())), EINVAL);
    EXPECT_EQ(contentOf(file), "x");
}

TEST_F(FilesTest, AFoldersStatusIsToldWithoutASeparatorBehindOnly) {
    _folder.file("sub/f", "x");
    struct __stat64 status {};
    EXPECT_EQ(_stat64(_folder.path("sub").c_str(), &status), 0);
    EXPECT_EQ(_stat64((_folder.path("sub") + "\\").c_str(), &status), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(_access((_folder.path("sub") + "\\").c_str(), 0), 0);
}

TEST_F(FilesTest, UnlinkRemovesAFileOnce) {
    const std::string path = _folder.file("f", "x");
    EXPECT_EQ(_unlink(path.c_str()), 0);
    EXPECT_EQ(_access(path.c_str(), 0), -1);
    EXPECT_EQ(_unlink(path.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(FilesTest, UnlinkRefusesAFolder) {
    _folder.file("sub/f", "");
    EXPECT_EQ(_unlink(_folder.path("sub").c_str()), -1);
    EXPECT_EQ(errno, EACCES);
}

// ------------------------------------------------------------------------------------------------------------ looking

TEST_F(FilesTest, StatusTellsTheSize) {
    struct __stat64 status {};
    EXPECT_EQ(_stat64(_folder.file("f", std::string(70'000, 'x')).c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 70'000);
    EXPECT_EQ(status.st_mode & 0xF000, 0x8000);
    EXPECT_EQ(_stat64((_folder.path() + "\\f").c_str(), &status), 0);
    EXPECT_EQ(_stat64(_folder.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0xF000, 0x4000);
    EXPECT_EQ(_stat64(_folder.path("missing").c_str(), &status), -1);
    EXPECT_EQ(errno, ENOENT);
}

// The name found and whether it is a folder, such as "f" or "sub/"; "none" with errno 2.
std::string find(const std::string& pattern) {
    _finddata_t found{};
    errno = 0;
    const std::intptr_t search = _findfirst(pattern.c_str(), &found);
    if (search == -1) return errno == ENOENT ? "none" : "failed";
    EXPECT_EQ(_findclose(search), 0);
    return found.attrib & _A_SUBDIR ? std::string(found.name) + "/" : found.name;
}

TEST_F(FilesTest, FindTellsFilesFromFolders) {
    _folder.file("sub/f.txt", "");
    EXPECT_EQ(find(_folder.path() + "/sub/f.txt"), "f.txt");
    EXPECT_EQ(find(_folder.path() + "\\sub\\f.txt"), "f.txt");
    EXPECT_EQ(find(_folder.path() + "/sub"), "sub/");
}

TEST_F(FilesTest, FindFindsNothingForWhatIsNotThere) {
    _folder.file("sub/f.txt", "");
    EXPECT_EQ(find(_folder.path() + "/missing"), "none");
    EXPECT_EQ(find(_folder.path() + "/missing/f"), "none");
    EXPECT_EQ(find(_folder.path() + "/sub/*.ini"), "none");
    EXPECT_EQ(find(_folder.path() + "/missing/*"), "none");
    EXPECT_EQ(find(_folder.path() + "/sub/"), "none");
    EXPECT_EQ(find(""), "none");
}

TEST_F(FilesTest, FindTakesWildcards) {
    for (const char* name : {"beta.ini", "alpha.ini", "al.txt"}) _folder.file(name, "");
    const std::string start = _folder.path() + "/";
    EXPECT_EQ(find(start + "*"), "./");
    EXPECT_EQ(find(start + "*.*"), "./");
    EXPECT_EQ(find(start + "*.ini"), "alpha.ini");
    EXPECT_EQ(find(start + "b*"), "beta.ini");
    EXPECT_EQ(find(start + "*a.i*"), "alpha.ini");
    EXPECT_EQ(find(start + "*eta*"), "beta.ini");
    EXPECT_EQ(find(start + "a?.txt"), "al.txt");
    EXPECT_EQ(find(start + "?eta.ini"), "beta.ini");
    EXPECT_EQ(find(start + "a?pha"), "none");
    EXPECT_EQ(find(start + "[ab]*"), "none");  // no sets of characters
}

}  // namespace
