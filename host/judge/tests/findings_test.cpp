#include "findings.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::Finding;
using host::FindingKind;
using host::FindingList;
using testing::ElementsAre;

FindingList list(const std::vector<Finding>& findings, std::size_t capacity = 1000) {
    FindingList result(capacity);
    for (const Finding& finding : findings) result.add(finding);
    return result;
}

std::string told(const FindingList& findings) {
    std::ostringstream people;
    tellFindings(findings, people);
    return people.str();
}

TEST(FindingsTest, EveryKindHasItsNameAndComesBackFromIt) {
    std::vector<std::string> names;
    for (std::size_t kind = 0; kind < host::kFindingKinds; ++kind) {
        names.emplace_back(findingName(static_cast<FindingKind>(kind)));
        EXPECT_EQ(host::findingByName(names.back()), static_cast<FindingKind>(kind));
    }
    EXPECT_THAT(names, ElementsAre("lost", "repeated", "reordered", "torn", "stale", "format", "counter", "time_back",
                                   "late", "stopped"));
    EXPECT_EQ(host::findingByName("Lost"), std::nullopt);
    EXPECT_EQ(host::findingByName(""), std::nullopt);
}

TEST(FindingsTest, NothingIsToldOfNothing) { EXPECT_EQ(told(list({})), ""); }

TEST(FindingsTest, EachKindHasALineAndNeighboursAreARange) {
    EXPECT_EQ(told(list({
                  {FindingKind::stale, {3, 3}, {}},
                  {FindingKind::lost, {5, 8}, {}},
                  {FindingKind::torn, {9, 9}, {}},
                  {FindingKind::torn, {10, 10}, {}},
                  {FindingKind::torn, {11, 11}, {}},
                  {FindingKind::lost, {12, 12}, {}},
                  {FindingKind::torn, {14, 14}, {}},
                  {FindingKind::late, {15, 15}, 3.0},
                  {FindingKind::stopped, {16, 16}, {}},
              })),
              "lost frames: 5-8 12\n"
              "torn frames: 9-11 14\n"
              "stale frames, from before the grab or more than 1 s old: 3\n"
              "late frames: 15\n"
              "nothing came from this frame on: 16\n");
}

TEST(FindingsTest, OnlyAHundredRangesOfAKindAreTold) {
    FindingList findings(1000);
    for (std::uint64_t number = 1; number < 301; number += 2) findings.add({FindingKind::torn, {number, number}, {}});
    const std::string text = told(findings);
    EXPECT_NE(text.find(" 197 199 and 50 more\n"), std::string::npos) << text;
}

TEST(FindingsTest, ListKeepsTheFirstOnesAndCountsAll) {
    const FindingList findings = list(
        {
            {FindingKind::lost, {1, 10}, {}},
            {FindingKind::torn, {2, 2}, {}},
            {FindingKind::lost, {20, 29}, {}},
            {FindingKind::torn, {30, 30}, {}},
        },
        2);
    EXPECT_THAT(findings.kept(),
                ElementsAre(Finding{FindingKind::lost, {1, 10}, {}}, Finding{FindingKind::torn, {2, 2}, {}}));
    EXPECT_EQ(findings.omitted(), 2u);
    EXPECT_EQ(findings.frames(FindingKind::lost), 20u);
    EXPECT_EQ(findings.frames(FindingKind::torn), 2u);
    EXPECT_EQ(findings.frames(FindingKind::late), 0u);
    EXPECT_EQ(told(findings), "lost frames: 1-10 and 10 more\ntorn frames: 2 and 1 more\n");
}

TEST(FindingsTest, ListTakesAnotherOneWithWhatThatLeftOut) {
    FindingList findings = list({{FindingKind::lost, {1, 1}, {}}}, 2);
    findings.addOmitted(FindingKind::lost, 3, 40);
    findings.add(
        list({{FindingKind::torn, {2, 2}, {}}, {FindingKind::torn, {3, 3}, {}}, {FindingKind::torn, {4, 4}, {}}}, 2));
    EXPECT_EQ(findings.kept().size(), 2u);
    EXPECT_EQ(findings.omitted(), 3u + 1 + 1);
    EXPECT_EQ(findings.frames(FindingKind::torn), 3u);
    EXPECT_EQ(findings.frames(FindingKind::lost), 41u);
}

TEST(FindingsTest, SortedByFrameThenKind) {
    FindingList findings =
        list({{FindingKind::late, {7, 7}, {}}, {FindingKind::torn, {7, 7}, {}}, {FindingKind::lost, {3, 5}, {}}});
    findings.sort();
    EXPECT_THAT(findings.kept(),
                ElementsAre(Finding{FindingKind::lost, {3, 5}, {}}, Finding{FindingKind::torn, {7, 7}, {}},
                            Finding{FindingKind::late, {7, 7}, {}}));
}

TEST(FrameRangeTest, CountsItsFramesAndHasAText) {
    EXPECT_EQ((host::FrameRange{3, 3}).frames(), 1u);
    EXPECT_EQ((host::FrameRange{0, UINT64_MAX}).frames(), UINT64_MAX);
    EXPECT_EQ(host::rangeText({3, 3}), "3");
    EXPECT_EQ(host::rangeText({3, 9}), "3-9");
    EXPECT_TRUE((host::FrameRange{3, 9}).has(9));
    EXPECT_FALSE((host::FrameRange{3, 9}).has(10));
}

}  // namespace
