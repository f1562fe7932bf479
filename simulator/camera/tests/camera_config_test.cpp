#include "camera_config.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using frames::ImageFormat;
using testing::HasSubstr;
using testing::StartsWith;

class CameraConfigTest : public testing::Test {
protected:
    ImageFormat read(const std::string& path) {
        ImageFormat format{1, 2, 3};
        std::string error;
        EXPECT_TRUE(simulator::readCameraFormat(path, format, error)) << error;
        return format;
    }
    std::string refusal(const std::string& path) {
        ImageFormat format{1, 2, 3};
        std::string error;
        EXPECT_FALSE(simulator::readCameraFormat(path, format, error));
        EXPECT_EQ(format, (ImageFormat{1, 2, 3})) << "a refused file leaves the format alone";
        return error;
    }

    test::LogRecorder _log;
    test::TemporaryFolder _folder;
};

const char kSmall[] = "[image]\nimage_size_x=320\nimage_size_y=240\nbytes_per_pixel=2\n";

TEST_F(CameraConfigTest, FileWithoutRedirectionIsReadItself) {
    EXPECT_EQ(read(_folder.file("camera.ini", kSmall)), (ImageFormat{320, 240, 2}));
}

TEST_F(CameraConfigTest, AbsentEntriesKeepTheCamerasDefaults) {
    EXPECT_EQ(read(_folder.file("camera.ini", "")), (ImageFormat{1280, 1024, 1}));
    EXPECT_EQ(read(_folder.file("camera.ini", "[image]\nimage_size_y=7\n")), (ImageFormat{1280, 7, 1}));
}

TEST_F(CameraConfigTest, EntryThatIsNoNumberKeepsTheDefault) {
    EXPECT_EQ(read(_folder.file("camera.ini", "[image]\nbytes_per_pixel=two\n")), (ImageFormat{1280, 1024, 1}));
}

TEST_F(CameraConfigTest, RelativeRedirectionStartsAtTheFolderOfTheFileThatNamesIt) {
    _folder.file("sub/camera.ini", kSmall);
    const auto path = _folder.file("plugin.ini", "[Dorven]\ncamera_config=sub/camera.ini\n[image]\nimage_size_x=9\n");
    EXPECT_EQ(read(path), (ImageFormat{320, 240, 2}));
}

TEST_F(CameraConfigTest, AbsoluteRedirectionIsTakenAsItIs) {
    const auto camera = _folder.file("camera.ini", kSmall);
    const auto path = _folder.file("sub/plugin.ini", "[Dorven]\ncamera_config=" + camera + "\n");
    EXPECT_EQ(read(path), (ImageFormat{320, 240, 2}));
}

TEST_F(CameraConfigTest, RedirectionIsFollowedFromFileToFile) {
    _folder.file("b/c/camera.ini", kSmall);
    _folder.file("b/next.ini", "[Dorven]\ncamera_config=c/camera.ini\n");
    EXPECT_EQ(read(_folder.file("a.ini", "[Dorven]\ncamera_config=b/next.ini\n")), (ImageFormat{320, 240, 2}));
}

TEST_F(CameraConfigTest, FileWithoutFolderIsRedirectedWithinTheCurrentOne) {
    _folder.file("camera.ini", kSmall);
    _folder.file("plugin.ini", "[Dorven]\ncamera_config=camera.ini\n");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(_folder.path());
    EXPECT_EQ(read("plugin.ini"), (ImageFormat{320, 240, 2}));
    std::filesystem::current_path(before);
}

TEST_F(CameraConfigTest, MissingFileIsNamed) {
    const std::string path = _folder.path("none.ini");
    EXPECT_EQ(refusal(path), path + ": could not open camera config file: there is no such file");
}

TEST_F(CameraConfigTest, MissingTargetOfARedirectionIsNamed) {
    EXPECT_THAT(refusal(_folder.file("plugin.ini", "[Dorven]\ncamera_config=none.ini\n")),
                HasSubstr("none.ini: could not open camera config file"));
}

TEST_F(CameraConfigTest, CircleOfFilesEnds) {
    _folder.file("b.ini", "[Dorven]\ncamera_config=a.ini\n");
    EXPECT_THAT(refusal(_folder.file("a.ini", "[Dorven]\ncamera_config=b.ini\n")),
                HasSubstr("a.ini: could not open camera config file, because it leads back to itself"));
}

TEST_F(CameraConfigTest, ValuesOutOfRangeAreRefusedWithTheRange) {
    const auto refusalOf = [this](const std::string& entry) {
        return refusal(_folder.file("camera.ini", "[image]\n" + entry + "\n"));
    };
    EXPECT_THAT(refusalOf("image_size_x=0"), HasSubstr("image_size_x is 0, but has to be from 1 to 65536"));
    EXPECT_THAT(refusalOf("image_size_y=65537"), HasSubstr("image_size_y is 65537, but has to be from 1 to 65536"));
    EXPECT_THAT(refusalOf("bytes_per_pixel=-1"), HasSubstr("bytes_per_pixel is -1, but has to be from 1 to 16"));
    EXPECT_THAT(refusalOf("bytes_per_pixel=17"), StartsWith(_folder.path("camera.ini")));
}

}  // namespace
