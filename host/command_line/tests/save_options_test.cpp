#include "save_options.h"

#include <sstream>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host_options.h"
#include "picture.h"

namespace {

using host::HostOptions;
using testing::HasSubstr;

class SaveOptionsTest : public testing::Test {
protected:
    std::optional<int> parse(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), "dorven-host");
        _options = {};
        _data.str("");
        _people.str("");
        return parseHostOptions(static_cast<int>(arguments.size()), arguments.data(), _options, _data, _people);
    }

    HostOptions _options;
    std::ostringstream _data;
    std::ostringstream _people;
};

TEST_F(SaveOptionsTest, SavingHasSensibleDefaults) {
    EXPECT_EQ(parse({"grab", "--output", "x"}), std::nullopt);
    EXPECT_EQ(_options.grab.save.format, "png");
    EXPECT_EQ(_options.grab.save.pngLevel, 1u);
    EXPECT_EQ(_options.grab.save.every, 1u);
    EXPECT_EQ(_options.grab.save.aroundLoss, 0u);
    EXPECT_EQ(_options.grab.save.memoryMb, 1000u);
    EXPECT_FALSE(_options.grab.save.force);
}

TEST_F(SaveOptionsTest, EveryOptionOfSavingIsTaken) {
    EXPECT_EQ(parse({"grab", "--output", "x", "--format", "pgm", "--every", "7", "--around-loss", "50", "--save-memory",
                     "200", "--png-level", "9", "--force"}),
              std::nullopt)
        << _people.str();
    EXPECT_EQ(_options.grab.save.format, "pgm");
    EXPECT_EQ(_options.grab.save.every, 7u);
    EXPECT_EQ(_options.grab.save.aroundLoss, 50u);
    EXPECT_EQ(_options.grab.save.memoryMb, 200u);
    EXPECT_TRUE(_options.grab.save.force);
    EXPECT_EQ(_options.grab.save.pngLevel, 9u);
    EXPECT_EQ(saveSettingsOf(_options.grab.save).pngLevel, 9);
}

TEST_F(SaveOptionsTest, StretchingGoesWithPngOnly) {
    EXPECT_EQ(parse({"grab", "--output", "x", "--stretch", "12"}), std::nullopt) << _people.str();
    EXPECT_EQ(_options.grab.save.stretchBits, 12u);
    EXPECT_EQ(parse({"snap", "x.PNG", "--stretch", "10"}), std::nullopt) << _people.str();
    EXPECT_EQ(_options.snap.stretchBits, 10u);
    EXPECT_EQ(parse({"grab", "--output", "x", "--stretch", "12", "--format", "pgm"}), 2);
    EXPECT_THAT(_people.str(), HasSubstr("--stretch: goes with png only"));
    EXPECT_EQ(parse({"snap", "x.raw", "--stretch", "12"}), 2);
    EXPECT_THAT(_people.str(), HasSubstr("--stretch: goes with png only"));
    EXPECT_EQ(parse({"grab", "--stretch", "12"}), 2) << "nothing is saved";
}

TEST_F(SaveOptionsTest, StretchedImagesAreSavedStretched) {
    parse({"grab", "--output", "x", "--stretch", "12"});
    const std::vector<std::uint8_t> pixels{0xFF, 0x0F};
    std::vector<std::uint8_t> file;
    std::string error;
    ASSERT_TRUE(saveSettingsOf(_options.grab.save)
                    .encode({pixels.data(), {1, 1, 2}}, frames::ImageFileFormat::png, file, error, 1))
        << error;
    frames::Picture picture;
    ASSERT_TRUE(decodePicture(file, {}, picture, error)) << error;
    EXPECT_EQ(picture.samples, std::vector<std::uint16_t>{65535});
}

TEST_F(SaveOptionsTest, WhatCouldNotKeepUpIsToldWithItsCure) {
    const auto told = [this](host::ImageSaver::Outcome outcome) {
        _people.str("");
        tellSaved(_options.grab.save, outcome, _people);
        return _people.str();
    };
    host::ImageSaver::Outcome outcome;
    outcome.saved = 7;
    EXPECT_EQ(parse({"grab", "--output", "x"}), std::nullopt);
    EXPECT_EQ(told(outcome), "saved 7 images in x\n");
    outcome.droppedByCompressor = 5;
    EXPECT_EQ(told(outcome),
              "saved 7 images in x; the PNG compressor could not keep up with 5 more: try --png-level 0, --format raw "
              "or a greater --every\n");
    outcome.droppedByDisk = 3;
    EXPECT_THAT(told(outcome), HasSubstr("--every; the disk could not keep up with 3 more: try a faster one or a "
                                         "greater --every\n"));
    EXPECT_EQ(parse({"grab", "--output", "x", "--png-level", "0"}), std::nullopt);
    EXPECT_THAT(told(outcome), HasSubstr("with 5 more: try --format raw or a greater --every; "));
    EXPECT_THAT(told(outcome), HasSubstr("with 3 more: try a faster one, --png-level 1 or a greater --every\n"));
    EXPECT_EQ(parse({"grab", "--output", "x", "--format", "raw"}), std::nullopt);
    outcome.droppedByCompressor = 0;
    EXPECT_EQ(told(outcome),
              "saved 7 images in x; the disk could not keep up with 3 more: try a faster one, --format "
              "png or a greater --every\n");
}

TEST_F(SaveOptionsTest, StandardOutputTakesY4mUnlessAnotherFormIsNamed) {
    EXPECT_EQ(parse({"grab", "--output", "-"}), std::nullopt) << _people.str();
    EXPECT_TRUE(writesImages(_options));
    const auto stream = saveSettingsOf(_options.grab.save).stream;
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->form, host::StreamForm::y4m);
    host::ImageSaver::Outcome outcome;
    outcome.saved = 7;
    outcome.droppedByDisk = 3;
    tellSaved(_options.grab.save, outcome, _people);
    EXPECT_EQ(_people.str(),
              "wrote 7 images to standard output; its reader could not keep up with 3 more: try a greater --every\n");
    EXPECT_EQ(parse({"grab", "--output", "-", "--format", "raw", "--every", "5"}), std::nullopt);
    EXPECT_EQ(saveSettingsOf(_options.grab.save).stream->form, host::StreamForm::raw);
    EXPECT_EQ(parse({"grab", "--output", "./-"}), std::nullopt);
    EXPECT_FALSE(writesImages(_options));
    EXPECT_FALSE(saveSettingsOf(_options.grab.save).stream);
    EXPECT_EQ(_options.grab.save.format, "png");
}

TEST_F(SaveOptionsTest, AroundLossAloneSavesNoOthers) {
    EXPECT_EQ(parse({"grab", "--output", "x", "--around-loss", "50"}), std::nullopt);
    EXPECT_EQ(_options.grab.save.every, 0u);
}

TEST_F(SaveOptionsTest, SnapTakesItsFile) {
    EXPECT_EQ(parse({"snap", "a.b/out.PNG"}), std::nullopt) << _people.str();
    EXPECT_EQ(_options.command, HostOptions::Command::snap);
    EXPECT_EQ(_options.snap.file, "a.b/out.PNG");
    EXPECT_EQ(_options.snap.timeoutSeconds, 30.0);
    EXPECT_FALSE(_options.snap.anyImage);
    EXPECT_EQ(parse({"snap", "out.raw", "--any", "--force", "--timeout", "2", "--json"}), std::nullopt);
    EXPECT_TRUE(_options.snap.anyImage && _options.snap.force && _options.snap.json);
    EXPECT_EQ(_options.snap.timeoutSeconds, 2.0);
    EXPECT_EQ(parse({"snap", "--help"}), 0);
    EXPECT_THAT(_data.str(), HasSubstr("The ending of OUT sets the format"));
    EXPECT_THAT(_data.str(), HasSubstr("Exit codes"));
}

TEST_F(SaveOptionsTest, WrongUsageEndsWithTwoAndNamesTheArgument) {
    // clang-format off
    const std::vector<std::pair<std::vector<const char*>, const char*>> wrong = {
        {{"grab", "--output", "x", "--format", "tiff"},       "'tiff' is none of png, pgm, raw, y4m" },
        {{"grab", "--format", "png"},                         "--output"                             },
        {{"grab", "--around-loss", "5"},                      "--output"                             },
        {{"grab", "--save-memory", "5"},                      "--output"                             },
        {{"grab", "--force"},                                 "--output"                             },
        {{"grab", "--png-level", "1"},                        "--output"                             },
        {{"grab", "--output", "x", "--png-level", "10"},      "'10' is not a number from 0 to 9"     },
        {{"grab", "--output", "x", "--around-loss", "0"},     "--around-loss: '0' is not a number"   },
        {{"grab", "--output", "x", "--around-loss", "10001"}, "1 to 10000"                           },
        {{"grab", "--output", "x", "--save-memory", "0"},     "1 to 1000000"                         },
        {{"snap"},                                            "OUT"                                  },
        {{"snap", "out"},                                     "has to end in .png, .pgm or .raw"     },
        {{"snap", "a.png/out"},                               "has to end in .png, .pgm or .raw"     },
        {{"snap", "out.jpg"},                                 "'out.jpg' has to end in .png, .pgm or"},
        {{"snap", "out.png", "--timeout", "0"},               "--timeout"                            },
        {{"snap", "out.png", "--config", "/no/such"},         "--config"                             },
        {{"snap", "out.png", "--count", "1"},                 "--count"                              },
    };
    // clang-format on
    for (const auto& [arguments, named] : wrong) {
        EXPECT_EQ(parse(arguments), 2) << named;
        EXPECT_THAT(_people.str(), HasSubstr(named));
    }
}

TEST_F(SaveOptionsTest, WrongNamesAreAnsweredWithTheNearestOnes) {
    // clang-format off
    const std::vector<std::pair<std::vector<const char*>, const char*>> meant = {
        {{"garb"},                      "did you mean 'grab'? There is no command 'garb'\n"           },
        {{"doc-tor"},                   "did you mean 'doctor'? There is no command 'doc-tor'\n"      },
        {{"--verison"},                 "did you mean '--version'? dorven-host has no option"         },
        {{"grab", "--cuont", "3"},      "did you mean '--count'? grab has no option '--cuont'\n"      },
        {{"grab", "--ouptut=x"},        "did you mean '--output'? grab has no option '--ouptut'\n"    },
        {{"snap", "out.png", "--anny"}, "did you mean '--any'? snap has no option '--anny'\n"         },
    };
    // clang-format on
    for (const auto& [arguments, suggestion] : meant) {
        EXPECT_EQ(parse(arguments), 2);
        EXPECT_THAT(_people.str(), HasSubstr(suggestion));
    }
    EXPECT_EQ(parse({"grab", "--bogus"}), 2);
    EXPECT_THAT(_people.str(), testing::Not(HasSubstr("did you mean")));
    EXPECT_EQ(parse({"grab", "--count", "x"}), 2);
    EXPECT_THAT(_people.str(), testing::Not(HasSubstr("did you mean")));
}

}  // namespace
