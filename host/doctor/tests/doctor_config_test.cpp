#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "doctor_checks.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using host::Diagnosis;
using host::FindingLevel;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class DoctorConfigTest : public testing::Test {
protected:
    std::optional<frames::ImageFormat> examine(const std::string& path) {
        const test::LogRecorder quiet;
        _findings.clear();
        return host::examineConfiguration(path, _findings);
    }
    std::optional<frames::ImageFormat> examineImage(const std::string& lines) {
        return examine(_folder.file("camera.ini", "[image]\n" + lines));
    }
    std::vector<std::string> found(FindingLevel level) const {
        std::vector<std::string> texts;
        for (const Diagnosis& finding : _findings) {
            EXPECT_STREQ(finding.check, "configuration");
            if (finding.level == level) texts.push_back(finding.found);
        }
        return texts;
    }
    std::vector<std::string> problems() const { return found(FindingLevel::problem); }
    std::vector<std::string> warnings() const { return found(FindingLevel::warning); }

    test::TemporaryFolder _folder;
    host::Findings _findings;
};

TEST_F(DoctorConfigTest, WithoutAFileEverythingIsTheDefault) {
    EXPECT_EQ(examine(""), (frames::ImageFormat{1280, 1024, 1}));
    EXPECT_EQ(_findings.size(), 7u);
    EXPECT_THAT(found(FindingLevel::ok), Contains("image_size_x = 1280 (the camera's default)"));
    EXPECT_THAT(found(FindingLevel::ok), Contains("time_stamp_type = 1 (the camera's default)"));
    EXPECT_EQ(found(FindingLevel::ok).size(), 7u);
}

TEST_F(DoctorConfigTest, EveryFileOfTheChainAndWhereEachValueCameFromIsTold) {
    const std::string last = _folder.file("sub/camera.ini", "[image]\nimage_size_x=900\nbytes_per_pixel = 2\n");
    const std::string middle = _folder.file("sub/middle.ini", "[Dorven]\ncamera_config=camera.ini\n");
    const std::string first = _folder.file("first.ini", "[Dorven]\ncamera_config=sub/middle.ini\n");
    EXPECT_EQ(examine(first), (frames::ImageFormat{900, 1024, 2}));
    const auto texts = found(FindingLevel::ok);
    ASSERT_EQ(texts.size(), 9u);
    EXPECT_EQ(texts[0], first);
    EXPECT_THAT(texts[1], EndsWith("sub/middle.ini"));
    EXPECT_THAT(texts[2], EndsWith("sub/camera.ini"));
    EXPECT_THAT(texts[3], HasSubstr("image_size_x = 900 ("));
    EXPECT_THAT(texts[3], EndsWith("sub/camera.ini)"));
    EXPECT_EQ(texts[4], "image_size_y = 1024 (the camera's default)");
    EXPECT_THAT(texts[5], HasSubstr("bytes_per_pixel = 2 ("));
}

TEST_F(DoctorConfigTest, AbsoluteNameLeadsOnToo) {
    const std::string last = _folder.file("camera.ini", "[image]\nimage_size_x=900\n");
    EXPECT_EQ(examine(_folder.file("first.ini", "[Dorven]\ncamera_config=" + last + "\n")),
              (frames::ImageFormat{900, 1024, 1}));
}

TEST_F(DoctorConfigTest, MissingFileIsAProblemAndTheDefaultsCount) {
    EXPECT_EQ(examine(_folder.file("first.ini", "[Dorven]\ncamera_config=none.ini\n")),
              (frames::ImageFormat{1280, 1024, 1}));
    ASSERT_EQ(problems().size(), 1u);
    EXPECT_THAT(problems()[0], EndsWith("none.ini: there is no such file: the camera takes it for empty"));
}

TEST_F(DoctorConfigTest, FileThatCannotBeReadIsAProblem) {
    EXPECT_EQ(examine(_folder.path()), std::nullopt);
    ASSERT_EQ(problems().size(), 1u);
    EXPECT_THAT(problems()[0], HasSubstr(": cannot be read"));
    EXPECT_EQ(examine(_folder.file("a.ini", "[image]\nno entry\n")), std::nullopt);
    EXPECT_THAT(problems()[0], HasSubstr("a.ini: cannot be read: "));
}

TEST_F(DoctorConfigTest, CircleIsAProblem) {
    _folder.file("b.ini", "[Dorven]\ncamera_config=./sub/../a.ini\n");
    std::filesystem::create_directories(_folder.path() + "/sub");
    EXPECT_EQ(examine(_folder.file("a.ini", "[Dorven]\ncamera_config=b.ini\n")), std::nullopt);
    ASSERT_EQ(problems().size(), 1u);
    EXPECT_THAT(problems()[0], EndsWith(": the files lead in a circle: the camera takes its defaults"));
}

TEST_F(DoctorConfigTest, ValueThatIsNoNumberOrOutOfRangeIsAProblem) {
    struct Case {
        const char* line;
        const char* found;
    };
    for (const Case& row : {
             Case{"image_size_x=wide", "image_size_x = wide ("},
             Case{"image_size_x=", "is no number: the camera takes 0"},
             Case{"image_size_y=0", "image_size_y = 0 ("},
             Case{"image_size_y=65537", "is out of range"},
             Case{"image_size_y=-5", "is out of range"},
             Case{"image_size_y=99999999999999999999", "is out of range"},
             Case{"bytes_per_pixel=17", "bytes_per_pixel = 17 ("},
         }) {
        EXPECT_THAT(examineImage(row.line), std::nullopt) << row.line;
        ASSERT_EQ(problems().size(), 1u) << row.line;
        EXPECT_THAT(problems()[0], HasSubstr(row.found));
    }
    EXPECT_EQ(_findings.back().advice, "");
    examineImage("bytes_per_pixel=17");
    bool named = false;
    for (const Diagnosis& finding : _findings) named = named || finding.advice == "give a number from 1 to 16";
    EXPECT_TRUE(named);
    EXPECT_EQ(examineImage("bytes_per_pixel=two"), (frames::ImageFormat{1280, 1024, 1}))
        << "the camera keeps its default";
    EXPECT_THAT(problems()[0], EndsWith("is no number: the camera takes 1"));
    EXPECT_EQ(examineImage("pixel_format=2147483648"), (frames::ImageFormat{1280, 1024, 1}))
        << "the images are known all the same";
    EXPECT_THAT(problems()[0], HasSubstr("pixel_format = 2147483648 ("));
}

TEST_F(DoctorConfigTest, NumberWithATextBehindItIsAWarning) {
    EXPECT_EQ(examineImage("image_size_x= 900px\n"), (frames::ImageFormat{900, 1024, 1}));
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_THAT(warnings()[0], HasSubstr("image_size_x = 900px ("));
    EXPECT_THAT(warnings()[0], EndsWith("): the camera takes 900"));
    EXPECT_EQ(examineImage("image_size_x=900 \t\nimage_size_y= 40\n"), (frames::ImageFormat{900, 40, 1}));
    EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(DoctorConfigTest, NamesThatNearlyMatchAreAnsweredWithTheRightOnes) {
    examine(_folder.file("a.ini", "[Image]\nimage_size_x=5\n[dorven]\nx=1\n[other]\ny=2\n"));
    ASSERT_EQ(warnings().size(), 2u);
    EXPECT_THAT(warnings()[0], EndsWith("a.ini: section 'Image' is not read; did you mean 'image'?"));
    EXPECT_THAT(warnings()[1], EndsWith("a.ini: section 'dorven' is not read; did you mean 'Dorven'?"));
    examineImage("image_sizex=900\ncolour=blue\n");
    ASSERT_EQ(warnings().size(), 2u);
    EXPECT_THAT(warnings()[0], EndsWith("key 'colour' of section 'image' is not read"));
    EXPECT_THAT(warnings()[1],
                EndsWith("key 'image_sizex' of section 'image' is not read; did you mean 'image_size_x'?"));
    examine(_folder.file("b.ini", "[Dorven]\ncamera-config=a.ini\nserial=5\n"));
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_THAT(warnings()[0], EndsWith("did you mean 'camera_config'?"));
}

TEST_F(DoctorConfigTest, ImageSectionOfAFileThatLeadsOnIsNotRead) {
    _folder.file("camera.ini", "");
    examine(_folder.file("a.ini", "[Dorven]\ncamera_config=camera.ini\n[image]\nimage_size_x=900\n"));
    ASSERT_EQ(warnings().size(), 1u);
    EXPECT_THAT(warnings()[0], EndsWith("a.ini: section 'image' is not read, because camera_config leads on"));
}

}  // namespace
