#include "output_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace {

using host::ExistingFile;
using host::GrowingFile;
using host::writeWholeFile;
using testing::EndsWith;

class OutputFileTest : public testing::Test {
protected:
    bool write(const std::string& path, const std::string& text, ExistingFile existing = ExistingFile::refuse) {
        return writeWholeFile(path, text.data(), text.size(), existing, _error);
    }
    static std::string content(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::ptrdiff_t fileCount() const { return std::distance(std::filesystem::directory_iterator(_folder.path()), {}); }

    test::TemporaryFolder _folder;
    std::string _path = _folder.path("out.bin");
    std::string _error;
};

TEST_F(OutputFileTest, WholeFileIsWritten) {
    EXPECT_TRUE(write(_path, "one\n")) << _error;
    EXPECT_EQ(content(_path), "one\n");
    EXPECT_TRUE(write(_folder.path("empty"), ""));
    EXPECT_EQ(content(_folder.path("empty")), "");
}

TEST_F(OutputFileTest, ExistingFileIsKeptUnlessItMayBeReplaced) {
    ASSERT_TRUE(write(_path, "old"));
    EXPECT_FALSE(write(_path, "new"));
    EXPECT_EQ(_error, _path + ": cannot be written: it exists already; --force replaces it");
    EXPECT_EQ(content(_path), "old");
    EXPECT_TRUE(write(_path, "new", ExistingFile::replace)) << _error;
    EXPECT_EQ(content(_path), "new");
    EXPECT_EQ(fileCount(), 1);
}

// A predictable name may belong to somebody: a file of the user, or a prepared link.
TEST_F(OutputFileTest, OwnFileWithTheNameOfAPartIsKept) {
    ASSERT_TRUE(write(_path, "old"));
    const std::string part = _folder.file("out.bin.part", "the user's");
    EXPECT_TRUE(write(_path, "new", ExistingFile::replace)) << _error;
    EXPECT_EQ(content(_path), "new");
    EXPECT_EQ(content(part), "the user's");
    EXPECT_EQ(fileCount(), 2);
}

TEST_F(OutputFileTest, FolderOfThatNameIsNeverReplaced) {
    std::filesystem::create_directories(_path);
    EXPECT_FALSE(write(_path, "new"));
    EXPECT_FALSE(write(_path, "new", ExistingFile::replace));
    EXPECT_THAT(_error, EndsWith("out.bin: cannot be written: access is denied, or a folder has that name"));
    EXPECT_EQ(fileCount(), 1);
}

TEST_F(OutputFileTest, MissingFolderIsNamedAsTheReason) {
    EXPECT_FALSE(write(_folder.path() + "/none/out.bin", "x"));
    EXPECT_THAT(_error, EndsWith("out.bin: cannot be written: there is no such folder"));
}

TEST_F(OutputFileTest, FileThatAnotherWritesIsRefused) {
    GrowingFile other;
    ASSERT_TRUE(other.open(_path, ExistingFile::refuse, _error));
    ASSERT_TRUE(other.append("old", _error));
    GrowingFile second;
    EXPECT_FALSE(write(_path, "new", ExistingFile::replace));
    EXPECT_FALSE(second.open(_path, ExistingFile::replace, _error));
    EXPECT_THAT(_error, EndsWith("out.bin: cannot be written: another program has it open"));
    EXPECT_EQ(content(_path), "old");
    EXPECT_EQ(fileCount(), 1);
}

TEST_F(OutputFileTest, GrowingFileHasItsPiecesAtOnce) {
    GrowingFile file;
    EXPECT_FALSE(file.isOpen());
    ASSERT_TRUE(file.open(_path, ExistingFile::refuse, _error)) << _error;
    EXPECT_TRUE(file.append("one\n", _error));
    EXPECT_EQ(content(_path), "one\n");
    EXPECT_TRUE(file.append("two\n", _error));
    EXPECT_EQ(content(_path), "one\ntwo\n");
    file.close();
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(file.open(_path, ExistingFile::refuse, _error));
    EXPECT_TRUE(file.open(_path, ExistingFile::replace, _error));
    EXPECT_EQ(content(_path), "");
}

// As most programs open a file for reading: they let others write it, and on Windows do not let it be removed.
TEST_F(OutputFileTest, GrowingFileThatReplacedOneIsReadWhileItGrows) {
    ASSERT_TRUE(write(_path, "old"));
    GrowingFile file;
    ASSERT_TRUE(file.open(_path, ExistingFile::replace, _error)) << _error;
    EXPECT_TRUE(file.append("one\n", _error)) << _error;
    std::ifstream reader(_path, std::ios::binary);
    std::string line;
    EXPECT_TRUE(std::getline(reader, line));
    EXPECT_EQ(line, "one");
    EXPECT_TRUE(file.append("two\n", _error)) << _error;
    EXPECT_TRUE(std::getline(reader, line));
    EXPECT_EQ(line, "two");
    file.close();
    EXPECT_EQ(content(_path), "one\ntwo\n");
    EXPECT_EQ(fileCount(), 1);
}

TEST_F(OutputFileTest, GrowingFileThatReplacedOneIsLeftAloneByOtherWriters) {
    ASSERT_TRUE(write(_path, "old"));
    GrowingFile file;
    ASSERT_TRUE(file.open(_path, ExistingFile::replace, _error)) << _error;
    ASSERT_TRUE(file.append("one\n", _error)) << _error;
    EXPECT_FALSE(write(_path, "new", ExistingFile::replace));
    GrowingFile second;
    EXPECT_FALSE(second.open(_path, ExistingFile::replace, _error));
    EXPECT_THAT(_error, EndsWith("out.bin: cannot be written: another program has it open"));
    EXPECT_EQ(content(_path), "one\n");
}

// On Windows a file stays in its place while somebody reads it without permitting removal.
TEST_F(OutputFileTest, FileThatIsBeingReadIsReplacedOrNamedAsOpen) {
    ASSERT_TRUE(write(_path, "old"));
    std::ifstream reader(_path, std::ios::binary);
    if (!write(_path, "new", ExistingFile::replace)) {
        EXPECT_EQ(_error, _path + ": cannot be written: another program has it open");
        EXPECT_EQ(content(_path), "old");
    }
    EXPECT_EQ(fileCount(), 1);
    reader.close();
    EXPECT_TRUE(write(_path, "new", ExistingFile::replace)) << _error;
    EXPECT_EQ(content(_path), "new");
}

}  // namespace
