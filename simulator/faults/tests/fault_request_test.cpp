#include "fault_request.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fault_plan.h"

namespace {

using simulator::FaultKind;
using simulator::FaultPlan;
using simulator::FaultRequest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = simulator::FaultWhen::Kind;

FaultRequest parse(const std::string& text) {
    std::string error;
    const auto request = simulator::parseFault(text, error);
    EXPECT_TRUE(request) << error;
    return request.value_or(FaultRequest());
}

std::string problemOf(const std::string& text) {
    std::string error;
    EXPECT_FALSE(simulator::parseFault(text, error)) << text;
    // The whole text, or the name that is none.
    EXPECT_THAT(error, HasSubstr("'" + text.substr(0, std::min<std::size_t>(text.find_first_of(":@"), 60))));
    return error;
}

TEST(FaultRequestTest, EveryFaultOfTheTableIsReadByItsName) {
    for (const simulator::FaultRow& row : simulator::faultTable()) {
        const bool needsTime = row.time == simulator::FaultRow::Time::needed;
        const FaultRequest request = parse(std::string(row.name) + (needsTime ? ":5ms" : ""));
        EXPECT_EQ(request.kind, row.kind);
        EXPECT_EQ(request.timeNs, needsTime ? 5'000'000 : 0);
        EXPECT_EQ(request.when.kind, Kind::once);
        EXPECT_STRNE(row.does, "");
    }
}

TEST(FaultRequestTest, TimeStandsExactlyWhereTheFaultTakesOne) {
    for (const simulator::FaultRow& row : simulator::faultTable()) {
        const std::string name = row.name;
        if (row.time == simulator::FaultRow::Time::none) {
            EXPECT_THAT(problemOf(name + ":5ms"), HasSubstr(name + " takes no time"));
        } else {
            EXPECT_EQ(parse(name + ":5ms").timeNs, 5'000'000);
        }
        if (row.time == simulator::FaultRow::Time::needed) {
            EXPECT_THAT(problemOf(name + "@5"), HasSubstr(name + " needs a time, such as " + name + ":20ms"));
        }
    }
}

TEST(FaultRequestTest, EachWayToNameFramesIsRead) {
    EXPECT_EQ(parse("drop@100").when.kind, Kind::at);
    EXPECT_EQ(parse("drop@100").when.first, 100u);
    EXPECT_EQ(parse("drop@every:50").when.kind, Kind::every);
    EXPECT_EQ(parse("drop@every:50").when.first, 50u);
    EXPECT_EQ(parse("torn@p:0.01").when.kind, Kind::probability);
    EXPECT_EQ(parse("torn@p:0.01").when.probability, 0.01);
    EXPECT_EQ(parse("delay:20ms@t:3s").when.kind, Kind::time);
    EXPECT_EQ(parse("delay:20ms@t:3s").when.timeNs, 3'000'000'000);
    EXPECT_EQ(parse("drop@from:7").when.kind, Kind::from);
    EXPECT_EQ(parse("drop@7-9").when.kind, Kind::range);
    EXPECT_EQ(parse("drop@7-9").when.last, 9u);
}

TEST(FaultRequestTest, MisspelledNameIsMetWithTheOneThatWasMeant) {
    EXPECT_THAT(problemOf("drp@100"), HasSubstr("did you mean 'drop'? There is no fault 'drp'"));
    EXPECT_THAT(problemOf("timeback"), HasSubstr("did you mean 'time-back'?"));
    EXPECT_THAT(problemOf("Torn@5"), HasSubstr("did you mean 'torn'?"));
    EXPECT_THAT(problemOf("explosion"), HasSubstr("there are late-answer, wrong-answer, recreate"));
    EXPECT_THAT(problemOf(""), HasSubstr("there is no fault ''"));
    problemOf(std::string(100'000, 'x'));
}

TEST(FaultRequestTest, FramesAndTimesThatAreNoneAreRefused) {
    for (const char* text :
         {"drop@", "drop@x", "drop@-1", "drop@1.5", "drop@every:0", "drop@every:", "drop@p:1.01", "drop@p:x",
          "drop@t:3", "drop@9-7", "drop@7-", "drop@from:", "drop@99999999999999999999", "drop@5@6"})
        EXPECT_THAT(problemOf(text), HasSubstr("tells no frames such as")) << text;
    for (const char* text : {"delay:", "delay:5", "delay:0ms", "delay:-5ms", "delay:2days", "delay:86401s"})
        EXPECT_THAT(problemOf(text), HasSubstr("is no time such as 20ms")) << text;
}

TEST(FaultRequestTest, DocumentationAndSchemaNameEveryFault) {
    for (const char* name : {"docs/faults.md", "scenarios/scenario.schema.json"}) {
        std::ifstream file(std::string(DORVEN_SOURCE_DIR "/") + name);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        for (const simulator::FaultRow& row : simulator::faultTable()) {
            const bool json = std::string(name).ends_with(".json");
            const std::string cell = std::string(json ? "\"" : "| `").append(row.name).append(json ? "\"" : "` |");
            EXPECT_THAT(text, HasSubstr(cell));
        }
    }
}

// Frames below 100, at 100 images per second, at which a fault strikes.
std::vector<std::uint64_t> framesOf(const std::string& text, std::uint64_t since = 0) {
    FaultRequest request = parse(text);
    request.since = since;
    const FaultPlan plan({request}, 5, 100);
    std::vector<std::uint64_t> frames;
    for (std::uint64_t frame = 0; frame < 100; ++frame) {
        if (!plan.strikesAt(frame).empty()) frames.push_back(frame);
    }
    return frames;
}

TEST(FaultPlanTest, EachWayToNameFramesStrikesAtTheseAlone) {
    EXPECT_THAT(framesOf("drop"), ElementsAre(0));
    EXPECT_THAT(framesOf("drop@7"), ElementsAre(7));
    EXPECT_THAT(framesOf("drop@every:40"), ElementsAre(40, 80));
    EXPECT_THAT(framesOf("drop@from:98"), ElementsAre(98, 99));
    EXPECT_THAT(framesOf("drop@7-9"), ElementsAre(7, 8, 9));
    EXPECT_THAT(framesOf("drop@t:0s"), ElementsAre(0));
    EXPECT_THAT(framesOf("drop@t:95ms"), ElementsAre(10));
    EXPECT_THAT(framesOf("drop@t:100ms"), ElementsAre(10));
    EXPECT_THAT(framesOf("drop@p:0"), IsEmpty());
    EXPECT_EQ(framesOf("drop@p:1").size(), 100u);
}

TEST(FaultPlanTest, JitterGoesOnFromItsFrame) {
    EXPECT_EQ(framesOf("jitter:1ms").size(), 100u);
    EXPECT_EQ(framesOf("jitter:1ms@90").size(), 10u);
    EXPECT_EQ(framesOf("jitter:1ms@t:900ms").size(), 10u);
    EXPECT_THAT(framesOf("jitter:1ms@90-91"), ElementsAre(90, 91));
}

TEST(FaultPlanTest, FaultThatCameLaterStrikesFromThereOn) {
    EXPECT_THAT(framesOf("drop", 50), ElementsAre(50));
    EXPECT_THAT(framesOf("drop@40", 50), IsEmpty());
    EXPECT_EQ(framesOf("jitter:1ms", 90).size(), 10u);
}

TEST(FaultPlanTest, JitterStaysWithinItsRangeAndReachesMostOfIt) {
    const FaultPlan plan({parse("jitter:1000ns")}, 5, 100);
    std::int64_t least = INT64_MAX;
    std::int64_t greatest = 0;
    for (std::uint64_t frame = 0; frame < 10'000; ++frame) {
        least = std::min(least, plan.strikesAt(frame)[0].timeNs);
        greatest = std::max(greatest, plan.strikesAt(frame)[0].timeNs);
    }
    EXPECT_EQ(least, 0);
    EXPECT_EQ(greatest, 1000);
}

TEST(FaultPlanTest, StrikesComeInTheTablesOrderAndTheFirstOfAKindCounts) {
    const FaultPlan plan({parse("repeat@3"), parse("delay:5ms@3"), parse("delay:7ms@3"), parse("stall:1s@3")}, 5, 100);
    EXPECT_THAT(plan.strikesAt(3),
                ElementsAre(simulator::Strike{FaultKind::stall, 1'000'000'000},
                            simulator::Strike{FaultKind::delay, 5'000'000}, simulator::Strike{FaultKind::repeat, 0}));
    EXPECT_TRUE(plan.has(FaultKind::stall));
    EXPECT_FALSE(plan.has(FaultKind::torn));
}

}  // namespace
