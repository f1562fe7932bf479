#include "saved_findings.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "grab_report.h"
#include "temporary_folder.h"

namespace {

using host::Finding;
using host::FindingKind;
using host::FrameRange;
using host::GrabEvidence;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;

host::GrabReport report() {
    host::GrabReport report;
    report.findings = host::FindingList(100);
    report.findings.add({FindingKind::lost, {8, 10}, {}});
    report.findings.add({FindingKind::stale, {3, 3}, {}});
    report.findings.add({FindingKind::late, {12, 12}, 91.5});
    report.findings.add({FindingKind::stopped, {307, 307}, {}});
    report.results.sight = FrameRange{5, 306};
    report.results.lateFromUs = 80.0;
    return report;
}

std::string printed(const host::GrabReport& report) {
    std::ostringstream stream;
    printJson(report, stream);
    return stream.str();
}

struct Read {
    bool good;
    GrabEvidence evidence;
    std::string error;
};

Read read(const std::string& text) {
    Read result{};
    result.good = host::readSavedFindings(text, result.evidence, result.error);
    return result;
}

TEST(SavedFindingsTest, WhatGrabPrintedComesBack) {
    const Read result = read(printed(report()));
    ASSERT_TRUE(result.good) << result.error;
    EXPECT_EQ(result.evidence.findings, report().findings.kept());
    EXPECT_THAT(result.evidence.sight, Optional(FrameRange{5, 306}));
    EXPECT_THAT(result.evidence.lateFromUs, Optional(80.0));
    EXPECT_TRUE(result.evidence.judgesLateness);
}

TEST(SavedFindingsTest, WhatAnEarlierVersionPrintedIsReadToo) {
    auto object = nlohmann::json::parse(printed(report()));
    EXPECT_EQ(object["schema"], "dorven-grab/2");
    for (const char* const key : {"pauses", "pause_s"}) object.erase(key);
    for (const int version : {1, 2}) {
        object["schema"] = version;
        const Read result = read(object.dump());
        ASSERT_TRUE(result.good) << result.error;
        EXPECT_EQ(result.evidence.findings, report().findings.kept()) << version;
    }
}

// JSON has one kind of number: a tool that wrote the file anew may have written 2.0.
TEST(SavedFindingsTest, VersionThatAToolHasWrittenWithAFractionIsTheSameVersion) {
    auto object = nlohmann::json::parse(printed(report()));
    for (const double version : {1.0, 2.0}) {
        object["schema"] = version;
        EXPECT_TRUE(read(object.dump()).good) << version;
    }
    object["schema"] = 1.5;
    EXPECT_THAT(read(object.dump()).error, HasSubstr("\"schema\" is 1.5; known are"));
}

TEST(SavedFindingsTest, LastOfSeveralLinesCounts) {
    std::ostringstream stream;
    host::JsonLines lines(stream, false);
    lines.onSecond({});
    lines.printEnd(report(), 0);
    const Read result = read(stream.str() + "\r\n\n");
    ASSERT_TRUE(result.good) << result.error;
    EXPECT_EQ(result.evidence.findings.size(), 4u);
}

TEST(SavedFindingsTest, ObjectOfSeveralLinesIsReadToo) {
    const auto object = nlohmann::json::parse(printed(report()));
    EXPECT_TRUE(read(object.dump(2)).good);
}

TEST(SavedFindingsTest, GrabThatSawNothingAndLookedForNoLateness) {
    const Read result = read(printed({}));
    ASSERT_TRUE(result.good) << result.error;
    EXPECT_EQ(result.evidence.sight, std::nullopt);
    EXPECT_EQ(result.evidence.lateFromUs, std::nullopt);
    EXPECT_FALSE(result.evidence.judgesLateness);
}

TEST(SavedFindingsTest, OtherTextsAreRefused) {
    for (const char* text : {"", "\n\n", "[]", "null", "{", "text\nmore"})
        EXPECT_EQ(read(text).error,
                  "is not what grab --json or grab --json-lines printed; verify --findings-template shows what another "
                  "host writes")
            << text;
    EXPECT_EQ(read("{}").error, "\"schema\" is missing");
}

TEST(SavedFindingsTest, DeepNestingIsRefusedWithoutGoingDown) {
    const std::string deep = std::string(240'000, '[') + std::string(240'000, ']');
    for (const std::string& text :
         {deep, deep.substr(0, 240'000), "{\"findings\":" + deep + "}", "one\n{\"a\":" + deep})
        EXPECT_EQ(read(text).error, "nested too deeply");
}

// Each change makes the result unreadable.
TEST(SavedFindingsTest, WrongValuesAreRefusedWithTheirKey) {
    // clang-format off
    const std::pair<const char*, const char*> changes[] = {
        {R"([{"op":"replace","path":"/schema","value":0}])",                     "\"schema\" is 0; known are"},
        {R"([{"op":"replace","path":"/schema","value":3}])",                     "3; known are \"dorven-grab/2\""},
        {R"([{"op":"replace","path":"/schema","value":"1"}])",                   "\"schema\" is \"1\"; known are"},
        {R"([{"op":"replace","path":"/schema","value":"dorven-grab/3"}])",       "is \"dorven-grab/3\"; known are"},
        {R"([{"op":"replace","path":"/schema","value":"dorven-verify/2"}])",     "is \"dorven-verify/2\"; known are"},
        {R"([{"op":"replace","path":"/schema","value":[]}])",                    "\"schema\" is no name; known are"},
        {R"([{"op":"remove","path":"/restarts"}])",                              "\"restarts\" is missing"          },
        {R"([{"op":"replace","path":"/restarts","value":1}])",                   "the simulator began anew"         },
        {R"([{"op":"replace","path":"/findings_omitted","value":7}])",           "7 were left out"                  },
        {R"([{"op":"replace","path":"/findings","value":{}}])",                  "\"findings\" is not a list"       },
        {R"([{"op":"replace","path":"/findings/0","value":3}])",                 "something else than objects"      },
        {R"([{"op":"replace","path":"/findings/0/finding","value":"gone"}])",    "of an unknown kind"               },
        {R"([{"op":"replace","path":"/findings/0/finding","value":3}])",         "of an unknown kind"               },
        {R"([{"op":"remove","path":"/findings/0/finding"}])",                    "\"finding\" is missing"           },
        {R"([{"op":"replace","path":"/findings/0/first","value":-8}])",          "\"first\" is not a number"        },
        {R"([{"op":"replace","path":"/findings/0/last","value":7}])",            "\"last\" is smaller"              },
        {R"([{"op":"remove","path":"/findings/2/latency_us"}])",                 "\"latency_us\" is missing"        },
        {R"([{"op":"replace","path":"/findings/2/latency_us","value":"soon"}])", "\"latency_us\" is not a number"   },
        {R"([{"op":"replace","path":"/findings/2/latency_us","value":null}])",   "\"latency_us\" is null"           },
        {R"([{"op":"replace","path":"/last_frame","value":4}])",                 "\"last_frame\" is smaller"        },
        {R"([{"op":"replace","path":"/last_frame","value":null}])",              "\"last_frame\" is not a number"   },
        {R"([{"op":"remove","path":"/first_frame"}])",                           "\"first_frame\" is missing"       },
        {R"([{"op":"replace","path":"/late_from_us","value":"x"}])",             "\"late_from_us\" is not a number" },
    };
    // clang-format on
    const auto good = nlohmann::json::parse(printed(report()));
    for (const auto& [patch, error] : changes) {
        const Read result = read(good.patch(nlohmann::json::parse(patch)).dump());
        EXPECT_FALSE(result.good) << patch;
        EXPECT_THAT(result.error, HasSubstr(error));
    }
}

TEST(SavedFindingsTest, FilesAreReadOrRefusedWithTheirName) {
    const test::TemporaryFolder folder;
    GrabEvidence evidence;
    std::string error;
    EXPECT_TRUE(readSavedFindingsFile(folder.file("good.json", printed(report())), evidence, error)) << error;
    EXPECT_EQ(evidence.findings.size(), 4u);
    const std::string bad = folder.file("bad.json", "x");
    EXPECT_FALSE(readSavedFindingsFile(bad, evidence, error));
    EXPECT_THAT(error, StartsWith(bad + ": is not what grab --json or grab --json-lines printed;"));
    EXPECT_FALSE(readSavedFindingsFile(folder.path() + "/none", evidence, error));
    EXPECT_EQ(error, folder.path() + "/none: cannot be read");
    EXPECT_FALSE(readSavedFindingsFile(folder.path(), evidence, error));
    EXPECT_EQ(error, folder.path() + ": cannot be read");
    EXPECT_EQ(evidence.findings.size(), 4u);
}

}  // namespace
