#include "file_identity.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace {

class FileIdentityTest : public testing::Test {
protected:
    static FileIdentity identityOf(const std::string& name) {
        const FileIdentity identity = platform_identityOf(name.c_str());
        EXPECT_TRUE(identity.known()) << name;
        return identity;
    }

    test::TemporaryFolder _folder;
};

TEST_F(FileIdentityTest, NamesOfOneFileHaveOne) {
    const std::string file = _folder.file("a", "x");
    _folder.file("sub/b", "");
    EXPECT_EQ(identityOf(file), identityOf(_folder.path() + "/sub/../a"));
    EXPECT_EQ(identityOf(file), identityOf(_folder.path() + "\\sub\\..\\.\\a"));
}

TEST_F(FileIdentityTest, TwoFilesHaveTwo) {
    const std::string one = _folder.file("a", "x");
    const std::string other = _folder.file("b", "x");
    EXPECT_NE(identityOf(one), identityOf(other));
    EXPECT_NE(identityOf(one), identityOf(_folder.path()));
}

TEST_F(FileIdentityTest, FoldersHaveOneWithAndWithoutASeparatorBehind) {
    _folder.file("sub/b", "");
    EXPECT_EQ(identityOf(_folder.path()), identityOf(_folder.path() + "/"));
    EXPECT_EQ(identityOf(_folder.path()), identityOf(_folder.path() + "/sub/../"));
    EXPECT_NE(identityOf(_folder.path()), identityOf(_folder.path("sub")));
}

TEST_F(FileIdentityTest, CurrentFolderHasOne) {
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(_folder.path());
    const FileIdentity here = identityOf("./");
    std::filesystem::current_path(former);
    EXPECT_EQ(here, identityOf(_folder.path()));
}

TEST_F(FileIdentityTest, NothingHasNone) {
    EXPECT_FALSE(platform_identityOf(_folder.path("none").c_str()).known());
    EXPECT_FALSE(platform_identityOf("").known());
}

}  // namespace
