// Links that somebody has placed where files are created.
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "output_file.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using host::ExistingFile;
using host::GrowingFile;
using host::writeWholeFile;

class PlantedLinkTest : public testing::Test {
protected:
    static std::string content(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    test::TemporaryFolder _folder;
    std::string _victim = _folder.file("victim", "theirs");
    std::string _path = _folder.file("out/out.bin", "old");
    std::string _error;
};

TEST_F(PlantedLinkTest, LinkWithTheNameOfAPartIsNotFollowed) {
    fs::create_symlink(_victim, _path + ".part");
    EXPECT_TRUE(writeWholeFile(_path, "new", 3, ExistingFile::replace, _error)) << _error;
    EXPECT_EQ(content(_victim), "theirs");
    EXPECT_EQ(content(_path), "new");
    EXPECT_FALSE(fs::is_symlink(_path));
}

TEST_F(PlantedLinkTest, LinkInThePlaceIsReplacedAndNotFollowed) {
    fs::remove(_path);
    fs::create_symlink(_victim, _path);
    EXPECT_TRUE(writeWholeFile(_path, "new", 3, ExistingFile::replace, _error)) << _error;
    EXPECT_EQ(content(_victim), "theirs");
    EXPECT_EQ(content(_path), "new");
}

TEST_F(PlantedLinkTest, GrowingFileDoesNotFollowALinkEither) {
    fs::remove(_path);
    fs::create_symlink(_victim, _path);
    GrowingFile file;
    ASSERT_TRUE(file.open(_path, ExistingFile::replace, _error)) << _error;
    EXPECT_TRUE(file.append("line\n", _error)) << _error;
    EXPECT_EQ(content(_victim), "theirs");
    EXPECT_EQ(content(_path), "line\n") << "what was written is there at once";
}

}  // namespace
