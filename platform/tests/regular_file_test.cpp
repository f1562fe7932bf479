#include "regular_file.h"

#include <chrono>
#include <filesystem>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "printable.h"
#include "temporary_folder.h"
#include "utf8_path.h"

namespace {

using testing::EndsWith;
using testing::StartsWith;

class RegularFileTest : public testing::Test {
protected:
    static FileStamp stampOf(const std::string& path) {
        RegularFile file;
        std::string error;
        EXPECT_TRUE(file.open(path, error)) << error;
        return file.stamp();
    }
    static std::string refusal(const std::string& path) {
        RegularFile file;
        std::string error;
        EXPECT_FALSE(file.open(path, error));
        EXPECT_THAT(error, StartsWith(path + ": "));
        return error;
    }

    test::TemporaryFolder _folder;
};

TEST_F(RegularFileTest, WholeContentIsRead) {
    const std::string content(100'000, 'x');
    RegularFile file;
    std::string error;
    ASSERT_TRUE(file.open(_folder.file("a", content), error)) << error;
    std::string text;
    EXPECT_TRUE(file.readAll(text));
    EXPECT_EQ(text, content);
}

TEST_F(RegularFileTest, PortionsFollowEachOtherAndTheLastIsShort) {
    RegularFile file;
    std::string error;
    ASSERT_TRUE(file.open(_folder.file("a", "abcde"), error)) << error;
    char buffer[3] = {};
    EXPECT_EQ(file.read(buffer, 3), 3);
    EXPECT_EQ(std::string(buffer, 3), "abc");
    EXPECT_EQ(file.read(buffer, 3), 2);
    EXPECT_EQ(std::string(buffer, 2), "de");
    EXPECT_EQ(file.read(buffer, 3), 0);
}

TEST_F(RegularFileTest, EmptyFileIsRead) {
    RegularFile file;
    std::string error;
    ASSERT_TRUE(file.open(_folder.file("a", ""), error)) << error;
    std::vector<std::uint8_t> bytes(3);
    EXPECT_TRUE(file.readAll(bytes));
    EXPECT_TRUE(bytes.empty());
}

TEST_F(RegularFileTest, StampTellsSizeAndChange) {
    const std::string path = _folder.file("a", "abc");
    const FileStamp first = stampOf(path);
    EXPECT_EQ(first.bytes, 3u);
    EXPECT_EQ(stampOf(path), first);
    const auto time = std::filesystem::last_write_time(path);
    std::filesystem::last_write_time(path, time - std::chrono::hours(1));
    EXPECT_LT(stampOf(path).written, first.written);
    _folder.file("a", "abcd");
    std::filesystem::last_write_time(path, time);
    EXPECT_NE(stampOf(path), first);
}

TEST_F(RegularFileTest, WhatIsNoFileIsRefused) {
    EXPECT_THAT(refusal(_folder.path("none")), EndsWith("none: cannot be opened for reading"));
    EXPECT_THAT(refusal(_folder.path()), EndsWith(": is a folder"));
}

TEST(Utf8PathTest, TextsComeBackAsTheyWere) {
    const std::string text =
        "Pr\xC3\xBC"
        "fstand/\xE7\x9B\xB8.png";
    EXPECT_EQ(textOfPath(pathOfText(text)), text);
    EXPECT_EQ(textOfPath(pathOfText(text).filename()), "\xE7\x9B\xB8.png");
    EXPECT_EQ(pathOfText("\xC3\xBC"), std::filesystem::path(u"\u00FC"));
}

TEST(PrintableTest, ControlCharactersAreReplacedAndOthersStay) {
    EXPECT_EQ(printable("a\x1B[2J\n\x7F \xC3\xBC~"), "a?[2J?? \xC3\xBC~");
    EXPECT_EQ(printable(""), "");
    EXPECT_EQ(printable("\xC2\x9B"
                        "2J\xC2\x80\xC2\xA0\xC2"),
              "??2J??\xC2\xA0\xC2");
}

}  // namespace
