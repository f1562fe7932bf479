#include "config_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sample_program.h"

namespace {

using options::FileEntry;
using options::readConfigFile;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

class ConfigFileTest : public testing::Test {
protected:
    std::string read(const std::string& text) {
        entries.clear();
        return readConfigFile(folder.file("sample.conf", text), entries);
    }

    test::TemporaryFolder folder;
    std::vector<FileEntry> entries;
};

TEST_F(ConfigFileTest, MissingFileSaysNothing) {
    EXPECT_EQ(readConfigFile(folder.path("none.conf"), entries), "");
    EXPECT_EQ(readConfigFile(folder.path() + "/none/none.conf", entries), "");
    EXPECT_THAT(entries, IsEmpty());
}

TEST_F(ConfigFileTest, EmptyFileSaysNothing) {
    EXPECT_EQ(read(""), "");
    EXPECT_THAT(entries, IsEmpty());
}

TEST_F(ConfigFileTest, FolderInItsPlaceCannotBeRead) {
    EXPECT_THAT(readConfigFile(folder.path(), entries), EndsWith(": is there and cannot be read"));
}

TEST_F(ConfigFileTest, MarkAndLineEndsOfAnEditorAreNoPartOfIt) {
    EXPECT_EQ(read("\xEF\xBB\xBFrate = 5\r\n\r\n"), "");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].key, "rate");
    EXPECT_THAT(entries[0].values, ElementsAre("5"));
}

TEST_F(ConfigFileTest, FileThatIsNoTextIsRefused) {
    EXPECT_THAT(read(std::string("rate = 5\0\n", 10)), EndsWith(": is no text file"));
}

TEST_F(ConfigFileTest, EndlessFileIsRefused) {
    EXPECT_THAT(read(std::string(2 << 20, 'x')), EndsWith(": is larger than 1 MB"));
}

}  // namespace
