#include "picture_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "parsed_options.h"
#include "temporary_folder.h"

namespace {

using frames::ImageFormat;
using simulator::PictureOptions;
using simulator::Play;
using simulator::test::parse;
using simulator::test::Parsed;
using testing::ElementsAre;
using testing::HasSubstr;

class PictureOptionsTest : public testing::Test {
protected:
    /// A command line with --images and an existing file, and more options.
    std::vector<const char*> with(const std::vector<const char*>& more) const {
        std::vector<const char*> line{"--images", _file.c_str()};
        line.insert(line.end(), more.begin(), more.end());
        return line;
    }
    PictureOptions taken(const std::vector<const char*>& more) const {
        const Parsed parsed = parse(with(more));
        EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
        return parsed.options.pictures;
    }
    static std::string refusal(const std::vector<const char*>& line) {
        const Parsed parsed = parse(line);
        EXPECT_EQ(parsed.exitCode, 2);
        return parsed.people;
    }

    test::TemporaryFolder _folder;
    const std::string _file = _folder.file("a.pgm", "P5 1 1 255\nx");
};

TEST_F(PictureOptionsTest, DefaultsAreTold) {
    const PictureOptions options = taken({});
    EXPECT_THAT(options.images, ElementsAre(_file));
    EXPECT_FALSE(options.rawSize);
    EXPECT_EQ(options.play, Play::loop);
    EXPECT_FALSE(options.scale);
    EXPECT_TRUE(options.windowMoves);
    EXPECT_EQ(options.memoryMb, 2048u);
    EXPECT_THAT(parse({}).options.pictures.images, testing::IsEmpty());
}

TEST_F(PictureOptionsTest, EveryOptionIsTaken) {
    const PictureOptions options =
        taken({_folder.path().c_str(), "--images", "*.none", "--raw-size", "640x480x2", "--play", "hold", "--scale",
               "--window-motion", "none", "--image-memory", "5"});
    EXPECT_THAT(options.images, ElementsAre(_file, _folder.path(), "*.none"));
    EXPECT_EQ(options.rawSize, (ImageFormat{640, 480, 2}));
    EXPECT_EQ(options.play, Play::hold);
    EXPECT_TRUE(options.scale);
    EXPECT_FALSE(options.windowMoves);
    EXPECT_EQ(options.memoryMb, 5u);
    EXPECT_EQ(taken({"--play", "ping-pong"}).play, Play::pingPong);
    EXPECT_EQ(taken({"--play", "loop"}).play, Play::loop);
    EXPECT_TRUE(taken({"--window-motion", "drift"}).windowMoves);
}

TEST_F(PictureOptionsTest, TheyGoWithImagesOnly) {
    for (const auto& given : std::vector<std::vector<const char*>>{{"--raw-size", "5x5"},
                                                                   {"--play", "loop"},
                                                                   {"--scale"},
                                                                   {"--window-motion", "drift"},
                                                                   {"--image-memory", "5"}})
        EXPECT_THAT(refusal(given), HasSubstr(std::string(given.front()) + " goes with --images only"));
}

TEST_F(PictureOptionsTest, AStreamOnStandardInputNeedsItsFormatAndGoesAlone) {
    const auto parsed = parse({"--images", "-", "--format", "y4m"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_TRUE(parsed.options.pictures.piped);
    EXPECT_FALSE(parse(with({})).options.pictures.piped);
    EXPECT_THAT(refusal({"--images", "-"}), HasSubstr("--images - needs --format y4m"));
    EXPECT_THAT(refusal(with({"--format", "y4m"})), HasSubstr("--format goes with --images - only"));
    EXPECT_THAT(refusal({"--format", "y4m"}), HasSubstr("--format goes with --images - only"));
    EXPECT_THAT(refusal(with({"--images", "-", "--format", "y4m"})),
                HasSubstr("--images - does not go with other pictures"));
    EXPECT_THAT(refusal({"--images", "-", "--format", "png"}), HasSubstr("'png' is none of y4m"));
    EXPECT_THAT(refusal({"--images", "-", "--format", "y4m", "--play", "loop"}),
                HasSubstr("--play does not go with --images -"));
}

TEST_F(PictureOptionsTest, PatternsDoNotGoWithImages) {
    EXPECT_THAT(refusal(with({"--pattern", "ball"})), HasSubstr("--pattern does not go with --images"));
    EXPECT_THAT(refusal(with({"--pattern-seed", "3"})), HasSubstr("--pattern-seed does not go with --images"));
    EXPECT_THAT(refusal(with({"--no-digits"})), HasSubstr("--digits does not go with --images"));
    EXPECT_EQ(parse(with({"--bits", "10"})).exitCode, std::nullopt) << "bits are those of the images";
}

TEST_F(PictureOptionsTest, WrongValuesAreRefusedWithWhatIsRight) {
    EXPECT_THAT(refusal({"--images", "/no/such/file.png"}), HasSubstr("'/no/such/file.png' does not exist"));
    EXPECT_THAT(refusal(with({"--play", "backwards"})), HasSubstr("'backwards' is none of loop, ping-pong, hold"));
    EXPECT_THAT(refusal(with({"--window-motion", "jump"})), HasSubstr("'jump' is none of drift, none"));
    for (const char* memory : {"0", "-1", "1000001", "1.5", "all"})
        EXPECT_THAT(refusal(with({"--image-memory", memory})), HasSubstr("is not a number from 1 to 1000000"));
    for (const char* size : {"640", "0x5", "5x0", "5x5x0", "5x5x17", "5x5x1x1", "65537x5", "x", "5x", ""})
        EXPECT_THAT(refusal(with({"--raw-size", size})), HasSubstr("is no size such as 1280x1024 or 1280x1024x2"))
            << size;
}

TEST_F(PictureOptionsTest, HelpNamesThemAll) {
    const Parsed help = parse({"--help"});
    for (const char* option :
         {"--images", "--raw-size", "--play", "--scale", "--window-motion", "--image-memory", "ping-pong"})
        EXPECT_THAT(help.data, HasSubstr(option));
}

}  // namespace
