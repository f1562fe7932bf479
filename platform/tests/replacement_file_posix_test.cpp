// What others may do to the folder before a file has reached its place.
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "replacement_file.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;

class ReplacedNameTest : public testing::Test {
protected:
    ReplacedNameTest() {
        EXPECT_EQ(_file.open(_path), DWORD{ERROR_SUCCESS});
        for (const auto& entry : fs::directory_iterator(_folder.path())) {
            if (entry.path().filename() != "victim") _made = entry.path();
        }
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(_file.handle(), "mine", 4, &written, nullptr));
    }
    static std::string content(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    test::TemporaryFolder _folder;
    std::string _path = _folder.path("out.bin");
    std::string _victim = _folder.file("victim", "theirs");
    ReplacementFile _file;
    fs::path _made;
};

TEST_F(ReplacedNameTest, FileThatSomebodyElsePutThereIsNeitherMovedNorRemoved) {
    fs::remove(_made);
    std::ofstream(_made) << "other";
    EXPECT_EQ(_file.takePlace(), DWORD{ERROR_ACCESS_DENIED});
    _file.close();
    EXPECT_FALSE(fs::exists(_path));
    EXPECT_EQ(content(_made), "other");
}

TEST_F(ReplacedNameTest, LinkThatSomebodyElsePutThereLeadsNowhere) {
    fs::remove(_made);
    fs::create_symlink(_victim, _made);
    EXPECT_EQ(_file.takePlace(), DWORD{ERROR_ACCESS_DENIED});
    _file.close();
    EXPECT_FALSE(fs::exists(_path));
    EXPECT_EQ(content(_victim), "theirs");
}

TEST_F(ReplacedNameTest, FileThatSomebodyElseRenamedTakesItsPlaceAllTheSame) {
    fs::rename(_made, _folder.path("elsewhere"));
    std::ofstream(_made) << "other";
    EXPECT_EQ(_file.takePlace(), DWORD{ERROR_SUCCESS});
    _file.close();
    EXPECT_EQ(content(_path), "mine");
    EXPECT_EQ(content(_made), "other");
}

TEST_F(ReplacedNameTest, LinkInThePlaceIsReplacedAndNotFollowed) {
    fs::create_symlink(_victim, _path);
    EXPECT_EQ(_file.takePlace(), DWORD{ERROR_SUCCESS});
    _file.close();
    EXPECT_EQ(content(_victim), "theirs");
    EXPECT_FALSE(fs::is_symlink(_path));
    EXPECT_EQ(content(_path), "mine");
}

TEST_F(ReplacedNameTest, PipeInThePlaceIsRefusedAtOnce) {
    ASSERT_EQ(mkfifo(_path.c_str(), 0600), 0);
    EXPECT_EQ(_file.takePlace(), DWORD{ERROR_ACCESS_DENIED});
}

TEST_F(ReplacedNameTest, PermissionsOfTheFormerFileStay) {
    _file.close();
    _folder.file("out.bin", "former");
    fs::permissions(_path, fs::perms{0640});
    ASSERT_EQ(_file.open(_path), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(_file.takePlace(), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(fs::status(_path).permissions(), fs::perms{0640});
}

TEST_F(ReplacedNameTest, BackslashSeparatesFolders) {
    _folder.file("sub/x", "");
    ReplacementFile file;
    ASSERT_EQ(file.open(_folder.path() + "\\sub\\y"), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(file.takePlace(), DWORD{ERROR_SUCCESS});
    EXPECT_TRUE(fs::exists(_folder.path("sub/y")));
}

}  // namespace
