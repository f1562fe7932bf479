#include "simulator_options.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image_choice.h"
#include "parsed_options.h"
#include "surroundings.h"
#include "temporary_folder.h"

namespace {

using frames::ImageFormat;
using simulator::SimulatorOptions;
using simulator::test::parse;
using simulator::test::Parsed;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(SimulatorOptionsTest, DefaultsAreThoseOfTheCamera) {
    const Parsed parsed = parse({});
    EXPECT_EQ(parsed.exitCode, std::nullopt);
    EXPECT_FALSE(parsed.options.size);
    EXPECT_EQ(parsed.options.pacing.framesPerSecond, simulator::FrameRate(100));
    EXPECT_EQ(parsed.options.pacing.late, simulator::LatePolicy::skip);
    EXPECT_EQ(parsed.options.pacing.frameCount, 0u);
    EXPECT_EQ(parsed.options.delivery.lineCount, 8u);
    std::string error;
    EXPECT_EQ(makeImageSource(parsed.options, error)->format(), (ImageFormat{1280, 1024, 1}));
}

TEST(SimulatorOptionsTest, EveryOptionIsTaken) {
    const test::TemporaryFolder folder;
    const std::string config = folder.file("camera.ini", "");
    const Parsed parsed =
        parse({"--size", "640x480", "--config", config.c_str(), "--fps", "59.94", "--count", "1000", "--lines", "16",
               "--images", folder.path().c_str(), "--bytes-per-pixel", "3", "--late", "burst"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    ASSERT_TRUE(parsed.options.size);
    EXPECT_EQ(parsed.options.size->width, 640u);
    EXPECT_EQ(parsed.options.size->height, 480u);
    EXPECT_EQ(parsed.options.configFile, config);
    EXPECT_EQ(parsed.options.pacing.framesPerSecond, simulator::FrameRate(2997, 50));
    EXPECT_EQ(parsed.options.pacing.late, simulator::LatePolicy::burst);
    EXPECT_EQ(parsed.options.pacing.frameCount, 1000u);
    EXPECT_EQ(parsed.options.delivery.lineCount, 16u);
    EXPECT_EQ(parsed.options.pictures.images, std::vector{folder.path()});
    EXPECT_EQ(parsed.options.bytesPerPixel, 3u);
}

TEST(SimulatorOptionsTest, ShortNamesStandForTheLongOnesAndDurationsHaveTheirUnit) {
    const test::TemporaryFolder folder;
    const std::string config = folder.file("camera.ini", "");
    const Parsed parsed = parse({"-q", "-n", "7", "-c", config.c_str(), "--duration", "1.5s"});
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    EXPECT_TRUE(parsed.options.quiet);
    EXPECT_EQ(parsed.options.pacing.frameCount, 7u);
    EXPECT_EQ(parsed.options.pacing.durationNs, 1'500'000'000);
    EXPECT_EQ(parsed.options.configFile, config);
    EXPECT_EQ(parse({"-V"}).data, parse({"--version"}).data);
}

TEST(SimulatorOptionsTest, FaultsAreOffByDefaultAndTakenInTheirOrder) {
    const Parsed plain = parse({});
    EXPECT_TRUE(plain.options.faults.requests.empty());
    EXPECT_TRUE(plain.options.delivery.strip);
    EXPECT_FALSE(plain.options.faults.off);
    EXPECT_EQ(plain.options.delivery.readerTimeoutSeconds, 10.0);
    const test::TemporaryFolder folder;
    const std::string scenario = folder.file("s.json", "{}");
    const Parsed all =
        parse({"--fault", "drop@5", "--fault", "delay:5ms@p:0.1", "--scenario", scenario.c_str(), "--seed", "42",
               "--fault-log", "log", "--no-faults", "--no-strip", "--reader-timeout", "0.5"});
    EXPECT_EQ(all.exitCode, std::nullopt) << all.people;
    ASSERT_EQ(all.options.faults.requests.size(), 2u);
    EXPECT_EQ(all.options.faults.requests[0].text, "drop@5");
    EXPECT_EQ(all.options.faults.requests[1].text, "delay:5ms@p:0.1");
    EXPECT_EQ(all.options.faults.scenarioFile, scenario);
    EXPECT_EQ(all.options.faults.seed, 42u);
    EXPECT_EQ(all.options.faults.logFile, "log");
    EXPECT_TRUE(all.options.faults.off);
    EXPECT_FALSE(all.options.delivery.strip);
    EXPECT_EQ(all.options.delivery.readerTimeoutSeconds, 0.5);
}

TEST(SimulatorOptionsTest, TheStripsFormAndPlaceHoldForPatternsAndPictures) {
    EXPECT_EQ(parse({}).options.pattern.settings.strip, frames::StripWish());
    for (const auto& [cell, form] :
         {std::pair("8", frames::StripForm::cells8), std::pair("4", frames::StripForm::cells4),
          std::pair("line", frames::StripForm::line)}) {
        const Parsed parsed = parse({"--strip-cell", cell, "--strip-place", "bottom"});
        EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
        const frames::StripWish wish{form, frames::StripPlace::bottom};
        EXPECT_EQ(parsed.options.pattern.settings.strip, wish);
        EXPECT_EQ(parsed.options.pictures.strip, wish);
    }
    EXPECT_EQ(parse({"--strip-cell", "auto", "--strip-place", "top"}).options.pictures.strip, frames::StripWish());
    EXPECT_EQ(parse({"--strip-cell", "5"}).exitCode, 2);
    EXPECT_EQ(parse({"--strip-place", "left"}).exitCode, 2);
}

// Each fault's text, of a command line with variables of the environment.
std::vector<std::string> faultsOf(std::vector<const char*> arguments, const std::vector<std::string>& environment) {
    arguments.insert(arguments.begin(), "dorven-simulator");
    SimulatorOptions options;
    std::ostringstream data;
    std::ostringstream people;
    EXPECT_FALSE(parseSimulatorOptions(static_cast<int>(arguments.size()), arguments.data(), options, data, people,
                                       {environment, ""}))
        << people.str();
    std::vector<std::string> texts;
    for (const simulator::FaultRequest& fault : options.faults.requests) texts.push_back(fault.text);
    return texts;
}

TEST(SimulatorOptionsTest, FaultsAreTakenOnceWhateverElseTheEnvironmentSets) {
    EXPECT_THAT(faultsOf({"--fault", "torn@p:0.1", "--fault", "drop@5"}, {"DORVEN_SIMULATOR_FPS=200"}),
                ElementsAre("torn@p:0.1", "drop@5"));
    EXPECT_THAT(faultsOf({}, {"DORVEN_SIMULATOR_FAULT=drop@5 torn@7"}), ElementsAre("drop@5", "torn@7"));
    EXPECT_THAT(faultsOf({"--fault", "hang@9"}, {"DORVEN_SIMULATOR_FAULT=drop@5 torn@7"}), ElementsAre("hang@9"));
}

TEST(SimulatorOptionsTest, AskHasItsOwnOptions) {
    EXPECT_EQ(parse({}).options.command, SimulatorOptions::Command::run);
    EXPECT_TRUE(parse({}).options.ask);
    EXPECT_FALSE(parse({"--no-ask"}).options.ask);
    const Parsed plain = parse({"ask"});
    EXPECT_EQ(plain.exitCode, std::nullopt) << plain.people;
    EXPECT_EQ(plain.options.command, SimulatorOptions::Command::ask);
    EXPECT_FALSE(plain.options.asking.json);
    EXPECT_FALSE(plain.options.asking.watch);
    EXPECT_EQ(plain.options.asking.timeoutSeconds, 12.0);
    const Parsed all = parse({"ask", "--json", "--watch", "--timeout", "0.5"});
    EXPECT_TRUE(all.options.asking.json);
    EXPECT_TRUE(all.options.asking.watch);
    EXPECT_EQ(all.options.asking.timeoutSeconds, 0.5);
    const Parsed help = parse({"ask", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* text : {"--json", "--watch", "--timeout", "3 no answer in time"})
        EXPECT_THAT(help.data, HasSubstr(text));
}

TEST(SimulatorOptionsTest, OptionsOfARunDoNotGoWithAsk) {
    const Parsed parsed = parse({"--size", "5x5", "ask"});
    EXPECT_EQ(parsed.exitCode, 2);
    EXPECT_THAT(parsed.people, HasSubstr("--size does not go with ask"));
}

TEST(SimulatorOptionsTest, HelpAndVersionEndWithZeroOnStandardOutput) {
    const Parsed help = parse({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* option : {"--size", "--config", "--fps", "--count", "--lines", "--images", "--bytes-per-pixel",
                               "--no-ask", "ask", "Exit codes"})
        EXPECT_THAT(help.data, HasSubstr(option));
    const Parsed version = parse({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_THAT(version.data, HasSubstr("dorven-simulator "));
}

class WrongSimulatorUsageTest : public testing::TestWithParam<std::vector<const char*>> {};

TEST_P(WrongSimulatorUsageTest, EndsWithTwoAndNamesTheArgument) {
    const Parsed parsed = parse(GetParam());
    EXPECT_EQ(parsed.exitCode, 2);
    EXPECT_THAT(parsed.people, HasSubstr(GetParam().front()));
    EXPECT_EQ(parsed.data, "");
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, WrongSimulatorUsageTest,
    testing::Values(std::vector{"--size", "1280"}, std::vector{"--size", "0x5"}, std::vector{"--size", "5x0"},
                    std::vector{"--size", "5x65537"}, std::vector{"--size", "-5x5"}, std::vector{"--size", "5x5x5"},
                    std::vector{"--size", "5 x5"}, std::vector{"--size", ""}, std::vector{"--size"},
                    std::vector{"--config", "/no/such/file.ini"}, std::vector{"--config"},
                    std::vector{"--images", "/no/such/folder"}, std::vector{"--images"}, std::vector{"--fps", "0"},
                    std::vector{"--fps", "-1"}, std::vector{"--fps", "fast"}, std::vector{"--fps", "10001"},
                    std::vector{"--fps", "nan"}, std::vector{"--fps"}, std::vector{"--fps", "60000/0"},
                    std::vector{"--late", "never"}, std::vector{"--late"}, std::vector{"--fault", "drp"},
                    std::vector{"--fault"}, std::vector{"--scenario", "/no/such/file"}, std::vector{"--seed", "-1"},
                    std::vector{"--seed", "x"}, std::vector{"--fault-log"}, std::vector{"--reader-timeout", "-1"},
                    std::vector{"--reader-timeout", "nan"}, std::vector{"--count", "-1"},
                    std::vector{"--count", "many"}, std::vector{"--count", "1.5"}, std::vector{"--count"},
                    std::vector{"--lines", "0"}, std::vector{"--lines", "1001"}, std::vector{"--lines", "x"},
                    std::vector{"--bytes-per-pixel", "0"}, std::vector{"--bytes-per-pixel", "17"},
                    std::vector{"--bytes-per-pixel", "one"}, std::vector{"--bogus"}, std::vector{"stray"},
                    std::vector{"--watch"}, std::vector{"--json"}));

TEST(SimulatorOptionsTest, ReaderTimeoutIsNeverByNoneOnly) {
    EXPECT_EQ(parse({"--reader-timeout", "0"}).options.delivery.readerTimeoutSeconds, 0.0);
    EXPECT_EQ(parse({"--reader-timeout", "0.001"}).options.delivery.readerTimeoutSeconds, 0.001);
    EXPECT_EQ(parse({"--reader-timeout", "86400"}).options.delivery.readerTimeoutSeconds, 86400.0);
    for (const char* time : {"1e-10", "0.0009", "86401", "-1", "nan", "soon"}) {
        const Parsed parsed = parse({"--reader-timeout", time});
        EXPECT_EQ(parsed.exitCode, 2) << time;
        EXPECT_THAT(parsed.people, HasSubstr("is neither 0 nor a number from 0.001 to 86400"));
    }
}

TEST(SimulatorOptionsTest, SeedIsToldToBeThatOfTheFaults) {
    EXPECT_THAT(parse({"--help"}).data, HasSubstr("Seed of all that is random about the faults"));
}

TEST(SimulatorOptionsTest, AskRefusesTimesThatAreNone) {
    for (const char* time : {"0", "-1", "nan", "86401", "soon"}) {
        const Parsed parsed = parse({"ask", "--timeout", time});
        EXPECT_EQ(parsed.exitCode, 2) << time;
        EXPECT_THAT(parsed.people, HasSubstr("is not a number from 0.01 to 86400"));
    }
}

class ImageSourceChoiceTest : public testing::Test {
protected:
    ImageFormat formatOf(const SimulatorOptions& options) {
        std::string error;
        const auto source = makeImageSource(options, error);
        EXPECT_TRUE(source) << error;
        return source ? source->format() : ImageFormat{};
    }
    SimulatorOptions withConfig() {
        SimulatorOptions options;
        options.configFile =
            _folder.file("camera.ini", "[image]\nimage_size_x=320\nimage_size_y=240\nbytes_per_pixel=2\n");
        return options;
    }

    test::TemporaryFolder _folder;
};

TEST_F(ImageSourceChoiceTest, ConfigurationFileTellsTheFormat) {
    EXPECT_EQ(formatOf(withConfig()), (ImageFormat{320, 240, 2}));
}

TEST_F(ImageSourceChoiceTest, OptionsWinOverTheConfigurationFile) {
    SimulatorOptions options = withConfig();
    options.size = ImageFormat{640, 480, 1};
    EXPECT_EQ(formatOf(options), (ImageFormat{640, 480, 2}));
    options.bytesPerPixel = 4;
    EXPECT_EQ(formatOf(options), (ImageFormat{640, 480, 4}));
}

TEST_F(ImageSourceChoiceTest, PicturesHaveToFitTheConfiguration) {
    SimulatorOptions options = withConfig();
    options.pictures.images = {_folder.path("pictures/x.pgm").substr(0, _folder.path("pictures").size())};
    _folder.file("pictures/a.pgm", "P5 1 1 255\nx");
    std::string error;
    EXPECT_FALSE(makeImageSource(options, error));
    EXPECT_THAT(error, HasSubstr("a.pgm: has 1 x 1 pixels, but the camera has 320 x 240"));
    options.configFile.clear();
    EXPECT_EQ(formatOf(options), (ImageFormat{1, 1, 1}));
}

TEST_F(ImageSourceChoiceTest, UnreadableConfigurationIsRefused) {
    SimulatorOptions options;
    options.configFile = _folder.path("none.ini");
    std::string error;
    EXPECT_FALSE(makeImageSource(options, error));
    EXPECT_THAT(error, HasSubstr("could not open camera config file"));
}

// How many lines of a help show how to call a command.
int examplesIn(const std::string& help, const std::string& call) {
    int count = 0;
    for (std::size_t at = help.find(call); at != std::string::npos; at = help.find(call, at + 1)) ++count;
    return count;
}

TEST(SimulatorOptionsTest, WrongNamesAreAnsweredWithTheNearest) {
    EXPECT_THAT(parse({"--ftp", "100"}).people,
                HasSubstr("did you mean '--fps'? dorven-simulator has no option '--ftp'\n"));
    EXPECT_THAT(parse({"patern"}).people, HasSubstr("did you mean 'patterns'? There is no command 'patern'\n"));
    EXPECT_THAT(parse({"ask", "--wacht"}).people, HasSubstr("did you mean '--watch'? ask has no option '--wacht'\n"));
}

TEST(SimulatorOptionsTest, EveryHelpHasThreeExamples) {
    EXPECT_GE(examplesIn(parse({"--help"}).data, "  dorven-simulator "), 3);
    for (const char* command : {"ask", "patterns", "config"})
        EXPECT_GE(examplesIn(parse({command, "--help"}).data, std::string("dorven-simulator ") + command), 3)
            << command;
}

TEST(SimulatorOptionsTest, ConfigShowsTheOptionsAndEndsTheProgram) {
    const Parsed parsed = parse({"config", "--show"});
    EXPECT_EQ(parsed.exitCode, 0) << parsed.people;
    EXPECT_THAT(parsed.data, HasSubstr("timeout "));
    EXPECT_THAT(parsed.data, HasSubstr("simulator.conf"));
    for (const char* row : {"fps +100 ", "late +skip ", "pattern +target ", "motion +none ", "motion-period +100 ",
                            "play +loop ", "window-motion +drift ", "digits +true ", "images +- ", "no-strip +false "})
        EXPECT_THAT(parsed.data, testing::ContainsRegex(std::string("\n  ") + row));
}

}  // namespace
