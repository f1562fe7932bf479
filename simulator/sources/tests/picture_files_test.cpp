#include "picture_files.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace {

using simulator::fitsGlob;
using simulator::isGlob;
using simulator::isPictureName;
using simulator::pictureFiles;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class PictureFilesTest : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"b1.png", "b10.png", "a2.PGM", "c.raw", "notes.txt", "deep/d.png"})
            _folder.file(name, "x");
    }
    /// Names of the files found.
    std::vector<std::string> found(const std::vector<std::string>& paths, bool raw = false) {
        std::string error;
        std::vector<std::string> names;
        for (const std::string& file : pictureFiles(paths, raw, error)) {
            EXPECT_TRUE(std::filesystem::exists(file)) << file;
            names.push_back(std::filesystem::path(file).filename().string());
        }
        EXPECT_EQ(error, "");
        return names;
    }
    static std::string refusal(const std::vector<std::string>& paths, bool raw = false) {
        std::string error;
        EXPECT_THAT(pictureFiles(paths, raw, error), IsEmpty());
        return error;
    }

    test::TemporaryFolder _folder;
};

TEST_F(PictureFilesTest, FolderGivesItsPicturesInNameOrder) {
    EXPECT_THAT(found({_folder.path()}), ElementsAre("a2.PGM", "b1.png", "b10.png"));
    EXPECT_THAT(found({_folder.path() + "/"}), ElementsAre("a2.PGM", "b1.png", "b10.png"));
}

TEST_F(PictureFilesTest, FolderOfRawPicturesGivesEveryFileButNoFolder) {
    EXPECT_THAT(found({_folder.path()}, true), ElementsAre("a2.PGM", "b1.png", "b10.png", "c.raw", "notes.txt"));
}

TEST_F(PictureFilesTest, GlobGivesWhatFits) {
    EXPECT_THAT(found({_folder.path("b*.png")}), ElementsAre("b1.png", "b10.png"));
    EXPECT_THAT(found({_folder.path("b?.png")}), ElementsAre("b1.png"));
    EXPECT_THAT(found({_folder.path("*.raw")}), ElementsAre("c.raw"));
}

TEST_F(PictureFilesTest, PathsKeepTheirOrder) {
    EXPECT_THAT(found({_folder.path("deep/d.png"), _folder.path("b*"), _folder.path("a2.PGM")}),
                ElementsAre("d.png", "b1.png", "b10.png", "a2.PGM"));
}

TEST_F(PictureFilesTest, WhatGivesNothingIsNamed) {
    EXPECT_THAT(refusal({_folder.path("b*"), _folder.path("z*.png")}), EndsWith("z*.png: no file has such a name"));
    _folder.file("empty/notes.txt", "x");
    const std::string empty = _folder.path() + "/empty";
    EXPECT_EQ(refusal({empty}), empty + ": holds no picture (PNG, PGM, JPEG, BMP or TIFF)");
    std::filesystem::remove(empty + "/notes.txt");
    EXPECT_EQ(refusal({empty}, true), empty + ": holds no file");
    EXPECT_THAT(refusal({_folder.path() + "/none/*.png"}), HasSubstr("/none: cannot be read: "));
}

TEST(GlobTest, StarStandsForAnyCharactersAndQuestionMarkForOne) {
    for (const char* pattern : {"*", "image*", "*.png", "i*e_??.png", "image_01.png", "**", "*_*.*", "?mage_01.pn?"})
        EXPECT_TRUE(fitsGlob("image_01.png", pattern)) << pattern;
    for (const char* pattern : {"", "?", "*.pgm", "image", "mage*", "i*e_?.png", "image_01.png?", "*_*_*"})
        EXPECT_FALSE(fitsGlob("image_01.png", pattern)) << pattern;
    EXPECT_TRUE(fitsGlob("", ""));
    EXPECT_TRUE(fitsGlob("", "*"));
    EXPECT_FALSE(fitsGlob("", "?"));
    EXPECT_TRUE(fitsGlob("aaaaaaaaaaaaaaaaaaaaaaaaab", "*a*a*a*a*a*b"));
}

TEST(GlobTest, CharactersAreNotTheirBytes) {
    const char* const name =
        "gr\xC3\xB6\xC3\x9F"
        "e \xE7\x9B\xB8.png";
    for (const char* pattern : {"gr??e ?.png", "*\xC3\xB6?e*", "*?.png", "??*e*?.png", "*\xE7\x9B\xB8.*"})
        EXPECT_TRUE(fitsGlob(name, pattern)) << pattern;
    for (const char* pattern : {"gr????e ?.png", "gr?e*", "*??????????????.png", "*\xC3\x9F?.png"})
        EXPECT_FALSE(fitsGlob(name, pattern)) << pattern;
    EXPECT_FALSE(fitsGlob("\xE7\x9B\xB8", "*??"));
    EXPECT_TRUE(fitsGlob("\xFF.png", "?.png")) << "a name that is no UTF-8";
}

TEST(GlobTest, OnlyTheFileNameIsAPattern) {
    EXPECT_TRUE(isGlob("pictures/*.png"));
    EXPECT_TRUE(isGlob("a?.png"));
    EXPECT_FALSE(isGlob("pictures/a.png"));
    EXPECT_FALSE(isGlob("what?/a.png"));
}

TEST(PictureNameTest, EndsAsPngOrPgm) {
    for (const char* name : {"a.png", "a.PNG", "b/a.Pgm", "a.JPG", "a.jpeg", "a.bmp", "a.tif", "a.tiff"})
        EXPECT_TRUE(isPictureName(name)) << name;
    for (const char* name : {"a", "a.raw", "png", "a.png.txt", "a.pngx"}) EXPECT_FALSE(isPictureName(name)) << name;
}

}  // namespace
