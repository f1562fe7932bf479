// Images on standard output, as another program reads them.
#include <cstdint>
#include <sstream>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host_options.h"
#include "image_file.h"
#include "inspection.h"
#include "programs_fixture.h"

namespace {

using test::ProgramsTest;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;
using namespace std::chrono_literals;

constexpr frames::ImageFormat kFormat{900, 40, 1};
constexpr std::size_t kBytes = 36'000;

class ImagePipeTest : public ProgramsTest {
protected:
    ImagePipeTest() : _simulator(startSimulator({"--size", "900x40", "--no-ask", "--fps", "50"})) {}
    ~ImagePipeTest() override { _simulator.kill(); }

    int grab(test::Arguments arguments) {
        arguments.insert(arguments.begin(), {"grab", "--config", _config, "--output", "-", "--count", "5"});
        return startHost(std::move(arguments)).join(60s);
    }
    std::string output() const {
        std::ifstream file(_folder.path("out.txt"), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    static bool isSimulated(std::string_view pixels) {
        return pixels.size() == kBytes &&
               frames::inspectImage({reinterpret_cast<const std::uint8_t*>(pixels.data()), kFormat}).kind ==
                   frames::ImageKind::simulated;
    }
    // Images each behind the same text.
    static std::vector<std::string> imagesBehind(std::string_view text, std::string_view stream) {
        std::vector<std::string> images;
        while (stream.starts_with(text) && stream.size() >= text.size() + kBytes) {
            images.emplace_back(stream.substr(text.size(), kBytes));
            stream.remove_prefix(text.size() + kBytes);
        }
        EXPECT_EQ(stream, "") << "standard output has the images alone";
        return images;
    }
    static void expectFiveImages(const std::vector<std::string>& images) {
        EXPECT_THAT(images, SizeIs(5));
        for (const std::string& image : images) EXPECT_TRUE(isSimulated(image));
    }

    test::ChildProcess _simulator;
};

TEST_F(ImagePipeTest, RawIsThePixelsOfEachImageAndTheTableGoesToStandardError) {
    EXPECT_EQ(grab({"--format", "raw"}), 0) << people();
    expectFiveImages(imagesBehind("", output()));
    EXPECT_THAT(people(), HasSubstr("5 images, all verified, nothing lost\n"));
    EXPECT_THAT(people(), HasSubstr("wrote 5 images to standard output\n"));
}

TEST_F(ImagePipeTest, Y4mIsTheFormIfNoneIsNamedAndHasTheSimulatorsRate) {
    for (const test::Arguments& format : {test::Arguments{}, test::Arguments{"--format", "y4m"}}) {
        EXPECT_EQ(grab(format), 0) << people();
        const std::string stream = output();
        const std::size_t begin = stream.find('\n') + 1;
        EXPECT_EQ(stream.substr(0, begin), "YUV4MPEG2 W900 H40 F50:1 Ip A1:1 Cmono\n");
        expectFiveImages(imagesBehind("FRAME\n", std::string_view(stream).substr(begin)));
    }
}

TEST_F(ImagePipeTest, PgmIsOneFileBehindTheOther) {
    EXPECT_EQ(grab({"--format", "pgm"}), 0) << people();
    expectFiveImages(imagesBehind("P5\n900 40\n255\n", output()));
}

TEST_F(ImagePipeTest, SnapWritesItsPictureAlone) {
    EXPECT_EQ(startHost({"snap", "-", "--config", _config}).join(60s), 0) << people();
    frames::GreyImage image;
    std::string error;
    ASSERT_TRUE(frames::readGreyImage(_folder.path("out.txt"), image, error)) << error;
    EXPECT_TRUE(isSimulated({reinterpret_cast<const char*>(image.pixels.data()), image.pixels.size()}));
    EXPECT_THAT(people(), HasSubstr("wrote a picture to standard output: 900 x 40 pixels"));
    EXPECT_EQ(startHost({"snap", "-", "--format", "raw", "--config", _config}).join(60s), 0) << people();
    EXPECT_TRUE(isSimulated(output()));
}

TEST_F(ImagePipeTest, DepthThatAFormDoesNotHaveEndsTheGrabBeforeItStarts) {
    const std::string colour =
        _folder.file("colour.ini", "[image]\nimage_size_x=300\nimage_size_y=40\nbytes_per_pixel=3\n");
    EXPECT_EQ(startHost({"grab", "--config", colour, "--output", "-"}).join(60s), host::kExitFailed);
    EXPECT_EQ(output(), "");
    EXPECT_THAT(people(), HasSubstr("y4m has no form for images of 3 bytes per pixel"));
}

}  // namespace
