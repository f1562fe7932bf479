// What differs for files on Linux: nothing is hidden, and an open file is replaced.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fastfile.h"
#include "fileops.h"
#include "log_recorder.h"
#include "platform_fault.h"
#include "temporary_folder.h"

PLATFORM_FAULT(int, _findclose, (std::intptr_t search), (search))

namespace {

using testing::ElementsAre;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(FileOperationsOfLinux, TypeHidesNothingForADotInFront) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(file_type(folder.file(".f", "").c_str()), '-');
}

TEST(FileOperationsOfLinux, TypeEndsItsSearchOnce) {
    const test::TemporaryFolder folder;
    int closed = 0;
    const test::Fault fault(fault__findclose, [&closed](std::intptr_t search) {
        ++closed;
        return real__findclose(search);
    });
    EXPECT_EQ(file_type(folder.file("f", "").c_str()), '-');
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(file_type(folder.path().c_str()), 'd');
    EXPECT_EQ(closed, 2);
    EXPECT_EQ(file_type(folder.file(".f", "").c_str()), '-');
    EXPECT_EQ(closed, 3);
    EXPECT_EQ(file_type(folder.path("missing").c_str()), -1);
    EXPECT_EQ(closed, 3);
}

TEST(FileOperationsOfLinux, ASafeReplacementKeepsThePermissions) {
    const test::TemporaryFolder folder;
    const std::string name = folder.file("f", "old");
    for (const mode_t mode : {0600u, 0664u}) {
        ASSERT_EQ(chmod(name.c_str(), mode), 0);
        EXPECT_EQ(MFastFile_WriteAtOnce(name.c_str(), "new", 3, MFastFile::kSafeReplace), 3);
        struct stat status {};
        ASSERT_EQ(stat(name.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, mode);
    }
}

// As on Windows. Not tested on both systems, because Wine replaces such files.
TEST(FileOperationsOfLinux, ASafeReplacementOfAReadOnlyFileFailsAndLeavesItAsItWas) {
    const test::TemporaryFolder folder;
    const std::string name = folder.file("f", "old");
    for (const mode_t mode : {0444u, 0400u}) {
        const test::LogRecorder recorder;
        ASSERT_EQ(chmod(name.c_str(), mode), 0);
        EXPECT_EQ(MFastFile_WriteAtOnce(name.c_str(), "new", 3, MFastFile::kSafeReplace), -1);
        EXPECT_EQ(contentOf(name), "old");
        struct stat status {};
        ASSERT_EQ(stat(name.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, mode);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1) << "a temporary file";
        ASSERT_EQ(recorder.errorTraces().size(), 2u);
        EXPECT_THAT(recorder.errorTraces()[0], testing::EndsWith("/f) failed: 5"));
    }
}

TEST(FileOperationsOfLinux, ASafeReplacementOfAnOpenFileLeavesItsReaderTheOldContent) {
    const test::TemporaryFolder folder;
    const std::string name = folder.file("f", "old");
    MFastFileReader reader(name.c_str());
    EXPECT_EQ(MFastFile_WriteAtOnce(name.c_str(), "new", 3, MFastFile::kSafeReplace), 3);
    std::string line;
    EXPECT_TRUE(reader.ReadLine(line));
    EXPECT_EQ(line, "old");
    EXPECT_EQ(contentOf(name), "new");
}

TEST(FileOperationsOfLinux, ASafeReplacementOfALinkLeavesItsTarget) {
    const test::TemporaryFolder folder;
    const std::string target = folder.file("target", "old");
    const std::string link = folder.path("link");
    ASSERT_EQ(symlink("target", link.c_str()), 0);
    EXPECT_EQ(MFastFile_WriteAtOnce(link.c_str(), "new", 3, MFastFile::kSafeReplace), 3);
    EXPECT_EQ(contentOf(target), "old");
    EXPECT_EQ(contentOf(link), "new");
}

TEST(FileOperationsOfLinux, ASafeReplacementInAFolderOfALongNameFails) {
    const test::TemporaryFolder folder;
    const test::LogRecorder recorder;
    std::string sub = folder.path();
    for (const std::size_t length : {std::size_t{100}, 246 - folder.path().size() - 102})
        sub.append("/").append(length, 'n');
    ASSERT_EQ(sub.size() + 1, 247u);
    folder.file(sub.substr(folder.path().size() + 1) + "/f", "old");
    // The folder's name ends with a separator, which makes it one character too long.
    EXPECT_EQ(MFastFile_WriteAtOnce((sub + "/f").c_str(), "new", 3, MFastFile::kSafeReplace), -1);
    EXPECT_THAT(recorder.errorTraces(), ElementsAre("MFastFile_WriteAtOnce(): GetTempFileName() failed:111"));
    EXPECT_EQ(contentOf(sub + "/f"), "old");
    const std::string shorter = sub.substr(0, sub.size() - 1);
    folder.file(shorter.substr(folder.path().size() + 1) + "/f", "old");
    EXPECT_EQ(MFastFile_WriteAtOnce((shorter + "/f").c_str(), "new", 3, MFastFile::kSafeReplace), 3);
}

}  // namespace
