#include "replacement_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

class ReplacementFileTest : public testing::Test {
protected:
    static DWORD write(const ReplacementFile& file, const std::string& text) {
        DWORD written = 0;
        return WriteFile(file.handle(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr)
                   ? DWORD{ERROR_SUCCESS}
                   : GetLastError();
    }
    static DWORD code(DWORD value) { return value; }
    static std::string content(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::set<std::string> names() const {
        std::set<std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(_folder.path()))
            all.insert(entry.path().filename().string());
        return all;
    }

    test::TemporaryFolder _folder;
    std::string _path = _folder.path("out.bin");
    ReplacementFile _file;
};

TEST_F(ReplacementFileTest, FileIsThereOnceItTookItsPlace) {
    ASSERT_EQ(_file.open(_path), code(ERROR_SUCCESS));
    ASSERT_EQ(write(_file, "new"), code(ERROR_SUCCESS));
    EXPECT_FALSE(std::filesystem::exists(_path));
    EXPECT_EQ(_file.takePlace(), code(ERROR_SUCCESS));
    _file.close();
    EXPECT_EQ(content(_path), "new");
    EXPECT_THAT(names(), ElementsAre("out.bin"));
}

TEST_F(ReplacementFileTest, FormerFileKeepsItsContentUntilThen) {
    _folder.file("out.bin", "former");
    ASSERT_EQ(_file.open(_path), code(ERROR_SUCCESS));
    write(_file, "new");
    EXPECT_EQ(content(_path), "former");
    EXPECT_EQ(_file.takePlace(), code(ERROR_SUCCESS));
    write(_file, "er");
    _file.close();
    EXPECT_EQ(content(_path), "newer") << "it may be written further";
}

TEST_F(ReplacementFileTest, FileThatDidNotTakeItsPlaceIsRemoved) {
    _folder.file("out.bin", "former");
    ASSERT_EQ(_file.open(_path), code(ERROR_SUCCESS));
    write(_file, "new");
    _file.close();
    EXPECT_EQ(_file.handle(), INVALID_HANDLE_VALUE);
    EXPECT_EQ(content(_path), "former");
    EXPECT_THAT(names(), ElementsAre("out.bin"));
}

TEST_F(ReplacementFileTest, NameIsAnotherOneEachTime) {
    std::set<std::string> seen;
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(_file.open(_path), code(ERROR_SUCCESS));
        for (const std::string& name : names()) {
            EXPECT_THAT(name, StartsWith(".dorven-"));
            EXPECT_THAT(name, EndsWith(".part"));
            EXPECT_GE(name.size(), 32u);
            seen.insert(name);
        }
    }
    EXPECT_EQ(seen.size(), 20u);
}

TEST_F(ReplacementFileTest, FileOfAnotherWriterIsRefused) {
    ReplacementFile first;
    ASSERT_EQ(first.open(_path), code(ERROR_SUCCESS));
    ASSERT_EQ(first.takePlace(), code(ERROR_SUCCESS));
    ASSERT_EQ(_file.open(_path), code(ERROR_SUCCESS));
    EXPECT_EQ(_file.takePlace(), code(ERROR_SHARING_VIOLATION));
    first.close();
    EXPECT_EQ(_file.takePlace(), code(ERROR_SUCCESS));
    const HANDLE second = CreateFileA(_path.c_str(), FILE_WRITE_DATA, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_EQ(second, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), code(ERROR_SHARING_VIOLATION));
}

TEST_F(ReplacementFileTest, ReadersAreAdmittedToAFileInItsPlaceAndOtherWritersAreNot) {
    ASSERT_EQ(_file.open(_path), code(ERROR_SUCCESS));
    EXPECT_EQ(_file.admitReaders(), code(ERROR_INVALID_HANDLE)) << "it is not in its place yet";
    ASSERT_EQ(write(_file, "new"), code(ERROR_SUCCESS));
    ASSERT_EQ(_file.takePlace(), code(ERROR_SUCCESS));
    EXPECT_EQ(_file.admitReaders(), code(ERROR_SUCCESS));
    EXPECT_EQ(content(_path), "new");
    EXPECT_EQ(write(_file, "er"), code(ERROR_SUCCESS));
    EXPECT_EQ(content(_path), "newer") << "it is written on behind what is there";
    ReplacementFile second;
    ASSERT_EQ(second.open(_path), code(ERROR_SUCCESS));
    EXPECT_EQ(second.takePlace(), code(ERROR_SHARING_VIOLATION));
    second.close();
    _file.close();
    EXPECT_THAT(names(), ElementsAre("out.bin"));
}

// On Windows a file stays in its place while somebody reads it without permitting removal.
TEST_F(ReplacementFileTest, FileThatIsBeingReadIsReplacedOrToldToBeOpen) {
    _folder.file("out.bin", "former");
    std::ifstream reader(_path, std::ios::binary);
    ASSERT_EQ(_file.open(_path), code(ERROR_SUCCESS));
    const DWORD error = _file.takePlace();
    if (error != ERROR_SUCCESS) {
        EXPECT_EQ(error, code(ERROR_SHARING_VIOLATION));
        EXPECT_EQ(content(_path), "former");
        reader.close();
        EXPECT_EQ(_file.takePlace(), code(ERROR_SUCCESS));
    }
    _file.close();
    EXPECT_EQ(content(_path), "");
}

TEST_F(ReplacementFileTest, FolderIsNotReplaced) {
    std::filesystem::create_directories(_path);
    ASSERT_EQ(_file.open(_path), code(ERROR_SUCCESS));
    EXPECT_EQ(_file.takePlace(), code(ERROR_ACCESS_DENIED));
    _file.close();
    EXPECT_THAT(names(), ElementsAre("out.bin"));
}

TEST_F(ReplacementFileTest, ReadOnlyFileIsNotReplaced) {
    _folder.file("out.bin", "former");
    namespace fs = std::filesystem;
    fs::permissions(_path, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    ASSERT_EQ(_file.open(_path), code(ERROR_SUCCESS));
    EXPECT_EQ(_file.takePlace(), code(ERROR_ACCESS_DENIED));
    EXPECT_EQ(content(_path), "former");
    fs::permissions(_path, fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(ReplacementFileTest, MissingFolderIsAnError) {
    EXPECT_EQ(_file.open(_folder.path() + "/none/out.bin"), code(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(_file.handle(), INVALID_HANDLE_VALUE);
}

}  // namespace
