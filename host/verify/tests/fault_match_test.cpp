#include "fault_match.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::Expectation;
using host::FaultLog;
using host::FaultMatch;
using host::Finding;
using host::FindingKind;
using host::FrameRange;
using host::GrabEvidence;
using testing::IsEmpty;
using testing::SizeIs;

constexpr FindingKind kPointKinds[] = {FindingKind::repeated, FindingKind::reordered, FindingKind::torn,
                                       FindingKind::format,   FindingKind::counter,   FindingKind::timeBack};

class FaultMatchTest : public testing::Test {
protected:
    FaultMatchTest() {
        _evidence.sight = FrameRange{100, 200};
        _evidence.lateFromUs = 1000.0;
    }

    void inject(FindingKind kind, std::uint64_t first, std::uint64_t last, double minUs = 0) {
        _log.faults.push_back({_log.faults.size() + 2, "fault", first, {{kind, {first, last}, minUs}}});
    }
    void inject(FindingKind kind, std::uint64_t frame) { inject(kind, frame, frame); }
    void find(FindingKind kind, std::uint64_t first, std::uint64_t last, std::optional<double> latencyUs = {}) {
        _evidence.findings.push_back({kind, {first, last}, latencyUs});
    }
    void find(FindingKind kind, std::uint64_t frame) { find(kind, frame, frame); }
    void note(const char* name, std::uint64_t first, std::uint64_t last) {
        _log.notes.push_back({name, {first, last}});
    }
    FaultMatch match() const { return matchFaults(_log, _evidence); }

    FaultLog _log;
    GrabEvidence _evidence;
};

#define EXPECT_FAULTS(match, foundCount, missedCount, outOfSightCount) \
    EXPECT_EQ((match).found, foundCount);                              \
    EXPECT_EQ((match).missed, missedCount);                            \
    EXPECT_EQ((match).outOfSight, outOfSightCount)

TEST_F(FaultMatchTest, NothingMatchesNothing) {
    const FaultMatch result = match();
    EXPECT_EQ(result.injected, 0u);
    EXPECT_TRUE(result.oneToOne(false));
}

TEST_F(FaultMatchTest, EachKindMatchesItsLikeAtItsFrame) {
    for (const FindingKind kind : kPointKinds) {
        inject(kind, 150);
        find(kind, 150);
    }
    inject(FindingKind::lost, 160, 165);
    find(FindingKind::lost, 160, 165);
    const FaultMatch result = match();
    EXPECT_EQ(result.injected, 7u);
    EXPECT_FAULTS(result, 7u, 0u, 0u);
    EXPECT_TRUE(result.oneToOne(false));
}

TEST_F(FaultMatchTest, FaultThatWasNotFoundIsMissed) {
    for (const FindingKind kind : kPointKinds) inject(kind, 150);
    inject(FindingKind::lost, 160);
    inject(FindingKind::stale, 170);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 8u, 0u);
    EXPECT_THAT(result.missing, SizeIs(8));
    EXPECT_EQ(result.missing[0].fault, &_log.faults[0]);
    EXPECT_EQ(result.missing[0].kind, FindingKind::repeated);
    EXPECT_EQ(result.missing[0].frames, (FrameRange{150, 150}));
    EXPECT_FALSE(result.oneToOne(true));
}

TEST_F(FaultMatchTest, FindingThatWasNotInjectedIsTold) {
    for (const FindingKind kind : kPointKinds) find(kind, 150);
    find(FindingKind::lost, 160, 165);
    const FaultMatch result = match();
    EXPECT_THAT(result.uninjected, SizeIs(7));
    EXPECT_EQ(result.explained(), 0u);
    EXPECT_FALSE(result.oneToOne(false));
    EXPECT_FALSE(result.oneToOne(true));
}

TEST_F(FaultMatchTest, OtherFrameIsBothMissedAndNotInjected) {
    inject(FindingKind::torn, 150);
    find(FindingKind::torn, 151);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 1u, 0u);
    ASSERT_THAT(result.uninjected, SizeIs(1));
    EXPECT_EQ(result.uninjected[0].finding, (Finding{FindingKind::torn, {151, 151}, {}}));
}

TEST_F(FaultMatchTest, OtherKindIsBothMissedAndNotInjected) {
    inject(FindingKind::torn, 150);
    find(FindingKind::repeated, 150);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 1u, 0u);
    EXPECT_THAT(result.uninjected, SizeIs(1));
}

TEST_F(FaultMatchTest, EachFindingAnswersOneFaultAlone) {
    inject(FindingKind::repeated, 150);
    inject(FindingKind::repeated, 150);
    find(FindingKind::repeated, 150);
    EXPECT_FAULTS(match(), 1u, 1u, 0u);
    find(FindingKind::repeated, 150);
    EXPECT_FAULTS(match(), 2u, 0u, 0u);
    find(FindingKind::repeated, 150);
    EXPECT_THAT(match().uninjected, SizeIs(1));
}

TEST_F(FaultMatchTest, NeighbouringLossesOfSeveralFaultsAreOneFinding) {
    inject(FindingKind::lost, 150);
    inject(FindingKind::lost, 151, 153);
    find(FindingKind::lost, 150, 153);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 2u, 0u, 0u);
    EXPECT_THAT(result.uninjected, IsEmpty());
}

TEST_F(FaultMatchTest, LossThatIsLongerOrShorterThanInjectedIsToldInItsPart) {
    inject(FindingKind::lost, 150, 155);
    find(FindingKind::lost, 153, 158);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 1u, 0u);
    ASSERT_THAT(result.missing, SizeIs(1));
    EXPECT_EQ(result.missing[0].frames, (FrameRange{150, 152}));
    ASSERT_THAT(result.uninjected, SizeIs(1));
    EXPECT_EQ(result.uninjected[0].finding.frames, (FrameRange{156, 158}));
}

TEST_F(FaultMatchTest, FaultOfSeveralExpectationsIsFoundWhenAllAre) {
    _log.faults.push_back({2, "stall", 150, {{FindingKind::lost, {150, 150}, 0}, {FindingKind::torn, {160, 160}, 0}}});
    find(FindingKind::lost, 150);
    EXPECT_FAULTS(match(), 0u, 1u, 0u);
    find(FindingKind::torn, 160);
    EXPECT_FAULTS(match(), 1u, 0u, 0u);
}

TEST_F(FaultMatchTest, FaultThatImagesDoNotShowIsInvisible) {
    _log.faults.push_back({2, "wrong-answer", 150, {}});
    const FaultMatch result = match();
    EXPECT_EQ(result.injected, 1u);
    EXPECT_EQ(result.invisible, 1u);
    EXPECT_TRUE(result.oneToOne(false));
}

// ---- edges

TEST_F(FaultMatchTest, FaultsOutsideTheHostsFramesAreOutOfSight) {
    for (const FindingKind kind : kPointKinds) {
        inject(kind, 99);
        inject(kind, 201);
    }
    inject(FindingKind::lost, 0, 99);
    inject(FindingKind::lost, 201, UINT64_MAX);
    inject(FindingKind::late, 99, 99, 5000);
    inject(FindingKind::stale, 201);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 0u, 16u);
    EXPECT_TRUE(result.oneToOne(false));
}

TEST_F(FaultMatchTest, FirstAndLastFrameAreInSightWhereNoNeighbourIsNeeded) {
    for (const std::uint64_t frame : {100u, 200u}) {
        inject(FindingKind::torn, frame);
        inject(FindingKind::format, frame);
        inject(FindingKind::late, frame, frame, 5000);
    }
    EXPECT_FAULTS(match(), 0u, 6u, 0u);
}

TEST_F(FaultMatchTest, WhatNeedsTheFrameBeforeIsOutOfSightAtTheFirstOne) {
    inject(FindingKind::counter, 100);
    inject(FindingKind::timeBack, 100);
    EXPECT_FAULTS(match(), 0u, 0u, 2u);
    inject(FindingKind::counter, 101);
    inject(FindingKind::timeBack, 101);
    EXPECT_FAULTS(match(), 0u, 2u, 2u);
}

TEST_F(FaultMatchTest, FramesThatCameCannotBeExpectedToBeLost) {
    inject(FindingKind::lost, 95, 103);
    find(FindingKind::lost, 101, 103);
    EXPECT_FAULTS(match(), 1u, 0u, 0u);
}

TEST_F(FaultMatchTest, RepetitionThatCameAfterTheEndIsOutOfSight) {
    inject(FindingKind::repeated, 200);
    EXPECT_FAULTS(match(), 0u, 0u, 1u);
    inject(FindingKind::repeated, 199);
    EXPECT_FAULTS(match(), 0u, 1u, 1u);
    _log.faults.erase(_log.faults.begin() + 1);
    find(FindingKind::repeated, 200);
    EXPECT_FAULTS(match(), 1u, 0u, 0u);
}

TEST_F(FaultMatchTest, OvertakenFrameThatCameAfterTheEndIsNeitherReorderedNorLost) {
    inject(FindingKind::reordered, 199);
    find(FindingKind::lost, 199);
    FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 0u, 1u);
    EXPECT_TRUE(result.oneToOne(false));
    inject(FindingKind::reordered, 197);
    find(FindingKind::lost, 197);
    result = match();
    EXPECT_FAULTS(result, 0u, 1u, 1u);
    EXPECT_THAT(result.uninjected, SizeIs(1));
}

TEST_F(FaultMatchTest, RangeOfRepetitionsIsMissedUpToTheEdgeAlone) {
    inject(FindingKind::repeated, 198, 200);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 1u, 0u);
    ASSERT_THAT(result.missing, SizeIs(1));
    EXPECT_EQ(result.missing[0].frames, (FrameRange{198, 199}));
}

TEST_F(FaultMatchTest, FindingsInImagesFromBeforeTheGrabAreOutOfSight) {
    find(FindingKind::stale, 90);
    find(FindingKind::torn, 90);
    const FaultMatch result = match();
    EXPECT_EQ(result.findingsOutOfSight, 2u);
    EXPECT_TRUE(result.oneToOne(false));
}

TEST_F(FaultMatchTest, WithoutAnyFrameEverythingIsOutOfSight) {
    _evidence.sight.reset();
    inject(FindingKind::torn, 0, UINT64_MAX);
    inject(FindingKind::stopped, 500);
    find(FindingKind::stale, 3);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 0u, 2u);
    EXPECT_FALSE(result.stopFound);
}

TEST_F(FaultMatchTest, SightOfOneFrameHasNoRoomForALoss) {
    for (const FrameRange sight : {FrameRange{0, 0}, FrameRange{UINT64_MAX, UINT64_MAX}, FrameRange{7, 8}}) {
        _evidence.sight = sight;
        _log.faults.clear();
        inject(FindingKind::lost, 0, UINT64_MAX);
        EXPECT_FAULTS(match(), 0u, 0u, 1u);
    }
}

TEST_F(FaultMatchTest, EndlessExpectationsAreMissedInTheirVisiblePart) {
    inject(FindingKind::lost, 0, UINT64_MAX);
    inject(FindingKind::torn, 0, UINT64_MAX);
    inject(FindingKind::late, 0, UINT64_MAX, 5000);
    find(FindingKind::torn, 150);
    FaultMatch result = match();
    EXPECT_FAULTS(result, 1u, 1u, 1u);  // that all frames were lost hides the rest
    ASSERT_THAT(result.missing, SizeIs(1));
    EXPECT_EQ(result.missing[0].frames, (FrameRange{101, 199}));
    _log.faults.erase(_log.faults.begin());
    result = match();
    EXPECT_FAULTS(result, 0u, 2u, 0u);
    ASSERT_THAT(result.missing, SizeIs(3));
    EXPECT_EQ(result.missing[0].frames, (FrameRange{100, 149}));
    EXPECT_EQ(result.missing[1].frames, (FrameRange{151, 200}));
    EXPECT_EQ(result.missing[2].frames, (FrameRange{100, 200}));
}

// ---- frames that were not delivered

TEST_F(FaultMatchTest, LossThatANoteExplainsWasStillNotInjected) {
    note("refused", 150, 152);
    note("skipped", 160, 160);
    find(FindingKind::lost, 149, 153);
    find(FindingKind::lost, 160);
    const FaultMatch result = match();
    ASSERT_THAT(result.uninjected, SizeIs(4));
    EXPECT_EQ(result.uninjected[0].finding.frames, (FrameRange{150, 152}));
    EXPECT_EQ(result.uninjected[0].because, "refused");
    EXPECT_EQ(result.uninjected[1].finding.frames, (FrameRange{149, 149}));
    EXPECT_EQ(result.uninjected[1].because, "");
    EXPECT_EQ(result.uninjected[2].finding.frames, (FrameRange{153, 153}));
    EXPECT_EQ(result.uninjected[3].because, "skipped");
    EXPECT_EQ(result.explained(), 2u);
    EXPECT_FALSE(result.oneToOne(true));
}

TEST_F(FaultMatchTest, ExplainedFindingsAloneMatchWhenThatWasAsked) {
    note("refused", 150, 152);
    find(FindingKind::lost, 150, 152);
    EXPECT_FALSE(match().oneToOne(false));
    EXPECT_TRUE(match().oneToOne(true));
}

TEST_F(FaultMatchTest, NoteExplainsNoOtherFindingThanALoss) {
    note("refused", 150, 152);
    find(FindingKind::torn, 150);
    EXPECT_EQ(match().explained(), 0u);
}

TEST_F(FaultMatchTest, FaultInAFrameThatWasNotDeliveredIsOutOfSight) {
    note("refused", 150, 150);
    inject(FindingKind::torn, 150);
    inject(FindingKind::torn, 160);
    inject(FindingKind::lost, 160);
    find(FindingKind::lost, 160);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 1u, 0u, 2u);
}

TEST_F(FaultMatchTest, LossIsNotHiddenByItself) {
    inject(FindingKind::lost, 150);
    EXPECT_FAULTS(match(), 0u, 1u, 0u);
}

// ---- lateness

TEST_F(FaultMatchTest, LateFrameIsFoundFromItsLeastLatencyOn) {
    inject(FindingKind::late, 150, 150, 20'000);
    find(FindingKind::late, 150, 150, 19'999.9);
    FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 1u, 0u);
    EXPECT_EQ(result.missing[0].minUs, 20'000);
    _evidence.findings.clear();
    find(FindingKind::late, 150, 150, 20'000);
    EXPECT_FAULTS(match(), 1u, 0u, 0u);
}

TEST_F(FaultMatchTest, LatenessThatWasNotInjectedCountsWithALimitAlone) {
    find(FindingKind::late, 150, 150, 6000);
    find(FindingKind::late, 151, 151, 4000);
    EXPECT_TRUE(match().oneToOne(false));
    _evidence.judgesLateness = true;
    EXPECT_THAT(match().uninjected, SizeIs(2));
    _evidence.judgedFromUs = 5000;
    const FaultMatch result = match();
    ASSERT_THAT(result.uninjected, SizeIs(1));
    EXPECT_EQ(result.uninjected[0].finding, (Finding{FindingKind::late, {150, 150}, 6000.0}));
}

TEST_F(FaultMatchTest, InjectedLatenessIsNoOtherFinding) {
    _evidence.judgesLateness = true;
    inject(FindingKind::late, 150, 160, 2000);
    for (std::uint64_t frame = 150; frame <= 160; ++frame) find(FindingKind::late, frame, frame, 2500);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 1u, 0u, 0u);
    EXPECT_TRUE(result.oneToOne(false));
}

TEST_F(FaultMatchTest, LatenessBelowWhatTheGrabLookedForIsOutOfSight) {
    inject(FindingKind::late, 150, 150, 999);
    EXPECT_FAULTS(match(), 0u, 0u, 1u);
    _evidence.lateFromUs.reset();
    inject(FindingKind::late, 151, 151, 5000);
    EXPECT_FAULTS(match(), 0u, 0u, 2u);
}

TEST_F(FaultMatchTest, LatenessOfFramesWhoseAgeIsNotJudgedIsOutOfSight) {
    for (const FindingKind kind : {FindingKind::timeBack, FindingKind::reordered}) {
        const std::uint64_t frame = kind == FindingKind::timeBack ? 150 : 160;
        inject(FindingKind::late, frame, frame, 5000);
        inject(kind, frame);
        find(kind, frame);
    }
    EXPECT_FAULTS(match(), 2u, 0u, 2u);
}

TEST_F(FaultMatchTest, ImageThatIsStaleByItsInjectedDelayIsNoOtherFinding) {
    inject(FindingKind::late, 150, 150, 1'500'000);
    find(FindingKind::late, 150, 150, 1'500'100);
    find(FindingKind::stale, 150, 150, 1'500'100);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 1u, 0u, 0u);
    EXPECT_TRUE(result.oneToOne(false));
}

TEST_F(FaultMatchTest, ImageThatIsStaleBeyondItsInjectedDelayIsAFindingOfItsOwn) {
    inject(FindingKind::late, 150, 150, 20'000);
    find(FindingKind::late, 150, 150, 1'100'000);
    find(FindingKind::stale, 150, 150, 1'100'000);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 1u, 0u, 0u);
    ASSERT_THAT(result.uninjected, SizeIs(1));
    EXPECT_EQ(result.uninjected[0].finding.kind, FindingKind::stale);
}

TEST_F(FaultMatchTest, StaleImageMatchesAnInjectedStaleOne) {
    inject(FindingKind::stale, 150);
    find(FindingKind::late, 150, 150, 1'100'000);
    EXPECT_FAULTS(match(), 0u, 1u, 0u);
    find(FindingKind::stale, 150, 150, 1'100'000);
    EXPECT_FAULTS(match(), 1u, 0u, 0u);
    EXPECT_THAT(match().uninjected, IsEmpty());
}

// ---- stops

TEST_F(FaultMatchTest, StopIsFoundWhereItWasInjected) {
    inject(FindingKind::stopped, 201, UINT64_MAX);
    find(FindingKind::stopped, 201);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 1u, 0u, 0u);
    EXPECT_TRUE(result.stopFound);
    EXPECT_TRUE(result.oneToOne(false));
}

TEST_F(FaultMatchTest, StopBeforeTheInjectedOneMatchesWhenTheLogTellsOfTheFramesBetween) {
    inject(FindingKind::stopped, 205, UINT64_MAX);
    find(FindingKind::stopped, 201);
    EXPECT_FAULTS(match(), 0u, 1u, 0u);
    EXPECT_THAT(match().uninjected, SizeIs(1));
    note("refused", 201, 202);
    inject(FindingKind::lost, 203, 204);
    const FaultMatch result = match();
    EXPECT_FAULTS(result, 1u, 0u, 1u);
    EXPECT_TRUE(result.oneToOne(false));
}

TEST_F(FaultMatchTest, StopBehindWhichImagesCameIsMissed) {
    inject(FindingKind::stopped, 150, UINT64_MAX);
    FaultMatch result = match();
    EXPECT_FAULTS(result, 0u, 1u, 0u);
    EXPECT_EQ(result.missing[0].frames, (FrameRange{150, 150}));
    find(FindingKind::stopped, 201);
    result = match();
    EXPECT_FAULTS(result, 0u, 1u, 0u);
    EXPECT_THAT(result.uninjected, SizeIs(1));
    EXPECT_FALSE(result.stopFound);
}

TEST_F(FaultMatchTest, StopAfterTheGrabEndedIsOutOfSight) {
    inject(FindingKind::stopped, 201, UINT64_MAX);
    EXPECT_FAULTS(match(), 0u, 0u, 1u);
}

TEST_F(FaultMatchTest, StopThatNobodyInjectedIsTold) {
    find(FindingKind::stopped, 201);
    const FaultMatch result = match();
    ASSERT_THAT(result.uninjected, SizeIs(1));
    EXPECT_EQ(result.uninjected[0].finding.kind, FindingKind::stopped);
    EXPECT_FALSE(result.stopFound);
}

TEST_F(FaultMatchTest, OrderlyEndIsAStopThatWasAnnounced) {
    find(FindingKind::stopped, 201);
    _log.nextFrame = 201;
    EXPECT_TRUE(match().oneToOne(false));
    EXPECT_TRUE(match().stopFound);
    _log.nextFrame = 203;
    EXPECT_FALSE(match().oneToOne(false));
    note("refused", 201, 202);
    EXPECT_TRUE(match().oneToOne(false));
    _log.nextFrame = 200;
    EXPECT_FALSE(match().stopFound);
}

}  // namespace
