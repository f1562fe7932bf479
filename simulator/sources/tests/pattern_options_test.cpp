#include "pattern_options.h"

#include <iterator>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "list_patterns.h"
#include "parsed_options.h"

namespace {

using frames::Motion;
using simulator::PatternOptions;
using simulator::test::parse;
using simulator::test::Parsed;
using testing::HasSubstr;

PatternOptions taken(const std::vector<const char*>& arguments) {
    const Parsed parsed = parse(arguments);
    EXPECT_EQ(parsed.exitCode, std::nullopt) << parsed.people;
    return parsed.options.pattern;
}

std::string refusal(const std::vector<const char*>& arguments) {
    const Parsed parsed = parse(arguments);
    EXPECT_EQ(parsed.exitCode, 2);
    EXPECT_EQ(parsed.data, "");
    return parsed.people;
}

TEST(PatternOptionsTest, DefaultIsTheTargetInFullRange) {
    const PatternOptions options = taken({});
    EXPECT_STREQ(options.pattern->name, "target");
    EXPECT_EQ(options.settings.bits, 16u);
    EXPECT_EQ(options.settings.seed, 1u);
    EXPECT_EQ(options.settings.digits, std::nullopt);
    EXPECT_EQ(options.settings.motion.kind, Motion::Kind::none);
    EXPECT_EQ(options.truthFile, "");
    EXPECT_FALSE(options.truth);
}

TEST(PatternOptionsTest, EveryOptionIsTaken) {
    const PatternOptions options =
        taken({"--pattern", "SlantedEdge", "--bits", "12", "--pattern-seed", "18446744073709551615", "--digits",
               "--motion", "sine", "--motion-px", "-2.5", "--motion-period", "33", "--truth", "t.jsonl"});
    EXPECT_STREQ(options.pattern->name, "slanted-edge");
    EXPECT_EQ(options.settings.bits, 12u);
    EXPECT_EQ(options.settings.seed, 18446744073709551615u);
    EXPECT_EQ(options.settings.digits, true);
    EXPECT_EQ(options.settings.motion.kind, Motion::Kind::sine);
    EXPECT_EQ(options.settings.motion.pixels, -2.5);
    EXPECT_EQ(options.settings.motion.periodFrames, 33u);
    EXPECT_EQ(options.truthFile, "t.jsonl");
    EXPECT_EQ(taken({"--no-digits"}).settings.digits, false);
}

TEST(PatternOptionsTest, EachMotionHasItsOwnDefaults) {
    const struct {
        const char* name;
        Motion::Kind kind;
        double pixels;
    } rows[] = {
        {"none", Motion::Kind::none, 0.0},
        {"linear", Motion::Kind::linear, 0.25},
        {"sine", Motion::Kind::sine, 8.0},
        {"step", Motion::Kind::step, 0.5},
    };
    for (const auto& row : rows) {
        const Motion motion = taken({"--pattern", "edge", "--motion", row.name}).settings.motion;
        EXPECT_EQ(motion.kind, row.kind) << row.name;
        EXPECT_EQ(motion.pixels, row.pixels) << row.name;
        EXPECT_EQ(motion.periodFrames, 100u) << row.name;
    }
}

TEST(PatternOptionsTest, WrongNameIsRefusedWithTheNearestOne) {
    EXPECT_THAT(refusal({"--pattern", "blakc"}),
                HasSubstr("--pattern: did you mean 'black'? There is no pattern 'blakc'\n"));
    EXPECT_THAT(refusal({"--pattern", "xylophone"}),
                HasSubstr("there is no pattern 'xylophone'; dorven-simulator patterns"));
    EXPECT_THAT(refusal({"--pattern", ""}), HasSubstr("--pattern"));
}

TEST(PatternOptionsTest, ValuesOutOfRangeAreRefusedWithTheRange) {
    EXPECT_THAT(refusal({"--bits", "11"}), HasSubstr("'11' is none of 10, 12, 16"));
    EXPECT_THAT(refusal({"--bits", "0x10"}), HasSubstr("is none of 10, 12, 16"));
    for (const char* seed : {"-1", "18446744073709551616", "1.5", "0x10", "lucky", ""})
        EXPECT_THAT(refusal({"--pattern-seed", seed}), HasSubstr("is not a whole number from 0 to 2^64 - 1")) << seed;
    EXPECT_THAT(refusal({"--pattern", "edge", "--motion", "zigzag"}),
                HasSubstr("'zigzag' is none of none, linear, sine, step"));
    for (const char* pixels : {"10001", "-10001", "nan", "far"})
        EXPECT_THAT(refusal({"--pattern", "edge", "--motion", "sine", "--motion-px", pixels}),
                    HasSubstr("is not a number from -10000 to 10000"));
    for (const char* frames : {"1", "0", "-2", "1000001", "2.5"})
        EXPECT_THAT(refusal({"--pattern", "edge", "--motion", "sine", "--motion-period", frames}),
                    HasSubstr("is not a number from 2 to 1000000"));
}

TEST(PatternOptionsTest, MotionAndTruthGoWithMeasuringTargetsOnly) {
    // clang-format off
    const std::vector<std::vector<const char*>> given{
        {"--motion",        "sine"   },
        {"--motion-px",     "3"      },
        {"--motion-period", "3"      },
        {"--truth",         "t.jsonl"}
    };
    // clang-format on
    for (const auto& option : given) {
        std::vector<const char*> line{"--pattern", "ball"};
        line.insert(line.end(), option.begin(), option.end());
        EXPECT_THAT(refusal(line), HasSubstr(std::string(option.front()) +
                                             " goes with a measuring target only: --pattern edge, slanted-edge, "
                                             "circle, dot-grid, checkerboard"));
        EXPECT_THAT(refusal(option), HasSubstr("measuring target only"));
    }
}

TEST(PatternOptionsTest, PixelsAndPeriodNeedAMotion) {
    EXPECT_THAT(refusal({"--pattern", "edge", "--motion-px", "3"}),
                HasSubstr("--motion-px goes with --motion linear, sine or step"));
    EXPECT_THAT(refusal({"--pattern", "edge", "--motion", "none", "--motion-period", "3"}),
                HasSubstr("--motion-period goes with --motion linear, sine or step"));
}

TEST(PatternOptionsTest, HelpNamesThemAll) {
    const Parsed help = parse({"--help"});
    for (const char* option : {"--pattern", "--bits", "--pattern-seed", "--no-digits", "--motion", "--motion-px",
                               "--motion-period", "--truth", "patterns"})
        EXPECT_THAT(help.data, HasSubstr(option));
}

TEST(ListPatternsTest, SubcommandTakesItsOptionsAndNoOthers) {
    using Command = simulator::SimulatorOptions::Command;
    EXPECT_EQ(parse({"patterns"}).options.command, Command::patterns);
    EXPECT_EQ(parse({"patterns", "--list"}).options.command, Command::patterns);
    EXPECT_FALSE(parse({"patterns", "--list"}).options.listsAsJson);
    EXPECT_TRUE(parse({"patterns", "--json"}).options.listsAsJson);
    EXPECT_THAT(refusal({"--fps", "5", "patterns"}), HasSubstr("--fps does not go with patterns"));
    EXPECT_THAT(refusal({"patterns", "--bogus"}), HasSubstr("--bogus"));
}

TEST(ListPatternsTest, TableHasALineForEachPattern) {
    std::ostringstream data;
    simulator::listPatterns(false, data);
    std::istringstream lines(data.str());
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "NAME           STANDARD NAME             KIND       DESCRIPTION");
    for (const frames::PatternRow& row : frames::patterns()) {
        ASSERT_TRUE(std::getline(lines, line));
        std::istringstream words(line);
        std::string name, standardName, kind;
        words >> name >> standardName >> kind;
        EXPECT_EQ(name, row.name);
        EXPECT_EQ(standardName, row.standardName);
        EXPECT_EQ(kind, patternKindName(row.kind));
        EXPECT_THAT(line, testing::EndsWith(row.description));
    }
    EXPECT_FALSE(std::getline(lines, line));
}

TEST(ListPatternsTest, JsonHoldsTheSame) {
    std::ostringstream data;
    simulator::listPatterns(true, data);
    EXPECT_EQ(data.str().find('\n'), data.str().size() - 1) << "one line";
    const auto object = nlohmann::json::parse(data.str());
    EXPECT_EQ(object["schema"], "dorven-patterns/1");
    ASSERT_EQ(object["patterns"].size(), frames::patterns().size());
    for (std::size_t i = 0; i < frames::patterns().size(); ++i) {
        const frames::PatternRow& row = frames::patterns()[i];
        const auto& listed = object["patterns"][i];
        EXPECT_EQ(listed["name"], row.name);
        EXPECT_EQ(listed["standard_name"], row.standardName);
        EXPECT_EQ(listed["kind"], patternKindName(row.kind));
        EXPECT_EQ(listed["digits"], row.digits);
        EXPECT_EQ(listed["description"], row.description);
    }
}

}  // namespace
