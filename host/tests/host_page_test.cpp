// Compares the tables of docs/host.md with what the program prints.
#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "findings.h"
#include "grab_limits.h"
#include "grab_report.h"
#include "page.h"
#include "sidecar.h"
#include "verify_report.h"

namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::IsSupersetOf;
using testing::SizeIs;
using Names = std::vector<std::string>;

// The names in backticks in the first cells of a table, which is given by the start of its header, below a heading.
Names namesOf(const std::string& heading, const std::string& tableHead) {
    const test::Page page(HOST_PAGE);
    Names names;
    bool below = false;
    bool inside = false;
    for (const std::string& line : page.lines()) {
        below = below || test::trimmed(line) == heading;
        inside = below && (inside ? line.starts_with("|") : line.starts_with(tableHead));
        if (!inside && !names.empty()) break;
        if (!inside || line.starts_with(tableHead)) continue;
        const std::string cell = line.substr(1, line.find('|', 1) - 1);
        const std::regex name("`([^`]+)`");
        for (std::sregex_iterator at(cell.begin(), cell.end(), name), end; at != end; ++at) names.push_back((*at)[1]);
    }
    return names;
}

Names keysOf(const std::string& json) {
    Names keys;
    const auto object = nlohmann::ordered_json::parse(json);
    for (const auto& item : object.items()) keys.push_back(item.key());
    return keys;
}

TEST(HostPageTest, KeysOfAGrabAreThoseOfThePageInItsOrder) {
    std::ostringstream data;
    host::printJson({}, data);
    EXPECT_THAT(keysOf(data.str()), ElementsAreArray(namesOf("### Numbers", "| Key | Unit |")));
}

TEST(HostPageTest, KeysOfAnImageAreThoseOfThePageInItsOrder) {
    std::ostringstream data;
    const std::vector<host::FrameRow> rows(1);
    host::JsonLines(data, true).onFrames(rows);
    EXPECT_THAT(keysOf(data.str()), ElementsAreArray(namesOf("### Numbers", "| Key of a `frame` |")));
}

TEST(HostPageTest, KeysOfASecondAreTheNumbersTheirTotalsAndItsTimes) {
    std::ostringstream data;
    host::JsonLines(data, false).onSecond({});
    const Names keys = keysOf(data.str());
    const Names numbers = namesOf("### Numbers", "| Key | Unit |");
    const auto first = std::find(numbers.begin(), numbers.end(), "images");
    const auto last = std::find(first, numbers.end(), "cpu_percent");
    ASSERT_NE(last, numbers.end());
    EXPECT_THAT(keys, IsSupersetOf(Names(first, last + 1)));
    EXPECT_THAT(keys, IsSupersetOf({"schema", "event", "elapsed_s", "length_s"}));
    const auto counts = static_cast<std::size_t>(
        std::count_if(keys.begin(), keys.end(), [](const std::string& key) { return key.ends_with("_total"); }));
    EXPECT_THAT(keys, SizeIs(static_cast<std::size_t>(last + 1 - first) + counts + 4));
}

TEST(HostPageTest, KeysOfAComparisonAreThoseOfThePageInItsOrder) {
    std::ostringstream data;
    const host::FaultLog log;
    const host::FaultMatch match;
    host::printVerifyJson({"faults.jsonl", log, match, true, nullptr}, false, data);
    EXPECT_THAT(keysOf(data.str()), ElementsAreArray(namesOf("## verify", "| Key of `verify` |")));
}

TEST(HostPageTest, KeysOfTheSidecarAreThoseOfThePageInItsOrder) {
    const std::string line = host::sidecarLine("image.png", {}, {});
    EXPECT_THAT(keysOf(line), ElementsAreArray(namesOf("## Sidecar", "| Key |")));
}

TEST(HostPageTest, EveryLimitAndEveryFindingStandsInItsTable) {
    const Names limits = namesOf("### Limits", "| Option |");
    for (const host::LimitRow& row : host::limitRows()) EXPECT_THAT(limits, Contains(row.option));
    const Names findings = namesOf("### Findings", "| Finding |");
    Names kinds;
    for (std::size_t kind = 0; kind < host::kFindingKinds; ++kind)
        kinds.emplace_back(host::findingName(static_cast<host::FindingKind>(kind)));
    EXPECT_THAT(findings, ElementsAreArray(kinds));
}

}  // namespace
