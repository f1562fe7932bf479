// Each fault end to end: a reader finds in the images exactly what the log says that it must find.
#include <fstream>
#include <future>
#include <map>
#include <ostream>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "child_process.h"
#include "fake_camera.h"
#include "log_recorder.h"
#include "platform.h"
#include "ring_reader.h"
#include "simulator.h"
#include "simulator_program.h"
#include "temporary_folder.h"

namespace {

using simulator::Faults;
using simulator::RenderedImages;
using simulator::Simulator;
using simulator::SimulatorOptions;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using namespace std::chrono_literals;
using Json = nlohmann::json;

constexpr frames::ImageFormat kFormat{900, 60, 1};

struct Arrival {
    test::RingReader::Image image;
    std::int64_t timeNs;
    std::uint64_t number() const { return image.inspection.strip ? image.inspection.strip->frameNumber : UINT64_MAX; }
    std::int64_t stampNs() const { return static_cast<std::int64_t>(image.inspection.strip->timeStampNs); }
};

/// "lost 7": what was found at which frame.
using Findings = std::set<std::string>;

std::string findingText(const std::string& finding, std::uint64_t frame) {
    return finding + " " + std::to_string(frame);
}

Findings findingsIn(const std::vector<Arrival>& arrivals) {
    Findings findings;
    std::set<std::uint64_t> seen;
    const Arrival* before = nullptr;
    for (const Arrival& arrival : arrivals) {
        const std::uint64_t number = arrival.number();
        const auto kind = arrival.image.inspection.kind;
        if (kind == frames::ImageKind::torn) findings.insert(findingText("torn", number));
        if (kind != frames::ImageKind::torn && kind != frames::ImageKind::simulated) findings.insert("unverified");
        const bool behind = !seen.empty() && number < *seen.rbegin();
        const bool isNew = seen.insert(number).second;
        if (!isNew) findings.insert(findingText("repeated", number));
        if (behind && isNew) findings.insert(findingText("reordered", number));
        const auto shift = [](const Arrival& of) {
            return static_cast<std::uint32_t>(of.image.header.imageCounter) - static_cast<std::uint32_t>(of.number());
        };
        if (before && shift(*before) != shift(arrival)) findings.insert(findingText("counter", number));
        const bool back = before && arrival.image.header.timeStampS < before->image.header.timeStampS;
        if (back && !behind) findings.insert(findingText("time_back", number));
        before = &arrival;
    }
    if (seen.empty()) return {"nothing arrived"};
    for (std::uint64_t number = *seen.begin(); number <= *seen.rbegin(); ++number) {
        if (!seen.contains(number)) findings.insert(findingText("lost", number));
    }
    return findings;
}

std::vector<Json> readLog(const std::string& path) {
    std::vector<Json> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) lines.push_back(Json::parse(line));
    return lines;
}

/// Everything that the log explains except lateness; what no arrival can show, beyond the last one, is omitted.
Findings expectedIn(const std::vector<Json>& log, std::uint64_t lastNumber) {
    Findings findings;
    const auto add = [&](const std::string& finding, const Json& range) {
        for (std::uint64_t frame = range.at("first");
             frame <= range.at("last") && (frame < lastNumber || finding != "lost"); ++frame)
            findings.insert(findingText(finding, frame));
    };
    for (const Json& line : log) {
        if (line["event"] == "note") add("lost", line);
        if (line["event"] != "fault") continue;
        for (const Json& expectation : line["expect"]) {
            if (expectation["finding"] != "late" && expectation["finding"] != "stopped")
                add(expectation["finding"], expectation);
        }
    }
    return findings;
}

void expectLateness(const std::vector<Json>& log, const std::vector<Arrival>& arrivals) {
    std::map<std::uint64_t, std::int64_t> latencyUs;
    for (const Arrival& arrival : arrivals)
        latencyUs.emplace(arrival.number(), (arrival.timeNs - arrival.stampNs()) / 1000);
    for (const Json& line : log) {
        if (line["event"] != "fault") continue;
        for (const Json& expectation : line["expect"]) {
            if (expectation["finding"] != "late") continue;
            for (std::uint64_t frame = expectation["first"]; frame <= expectation["last"]; ++frame) {
                ASSERT_TRUE(latencyUs.contains(frame)) << frame;
                EXPECT_GE(latencyUs[frame], expectation["min_us"].get<std::int64_t>()) << frame;
            }
        }
    }
}

class FaultRunTest : public testing::Test {
protected:
    FaultRunTest() {
        _options.size = kFormat;
        _options.pacing.framesPerSecond = 200;
        _options.pacing.frameCount = 60;
        _options.delivery.lineCount = 200;  // however late a busy machine is, no frame of the sixty is skipped
        _options.faults.seed = 42;
        _options.faults.logFile = _folder.path("log.jsonl");
    }
    void fault(const std::string& text) {
        std::string error;
        const auto request = simulator::parseFault(text, error);
        ASSERT_TRUE(request) << error;
        _options.faults.requests.push_back(*request);
    }
    /// A whole run; a reader takes every image that it can get.
    std::vector<Arrival> run() {
        std::string error;
        const auto faults = openFaults(_options, _people, error);
        EXPECT_TRUE(faults) << error;
        RenderedImages source(kFormat);
        std::atomic<bool> ended{false};
        std::vector<Arrival> arrivals;
        std::thread thread([&] {
            test::RingReader reader(kFormat);
            while (!ended) take(reader, arrivals);
            take(reader, arrivals);
        });
        Simulator simulator(_options, source, _people, nullptr, faults.get());
        EXPECT_EQ(simulator.run(), 0);
        // An attached reader keeps the memory alive, so it still reads what waits.
        ended = true;
        thread.join();
        _totals = simulator.totals();
        return arrivals;
    }
    static void take(test::RingReader& reader, std::vector<Arrival>& arrivals) {
        if (!reader.attached()) reader.attach();
        while (auto image = reader.take()) arrivals.push_back({*image, platform_monotonicNanoseconds()});
        reader.event().Wait(0.05);
    }
    std::vector<Json> log() const { return readLog(_options.faults.logFile); }
    std::vector<Json> faultLines(const std::string& name) const {
        std::vector<Json> found;
        for (const Json& line : log()) {
            if (line["event"] == "fault" && line["fault"] == name) found.push_back(line);
        }
        return found;
    }

    test::TemporaryFolder _folder;
    SimulatorOptions _options;
    std::ostringstream _people;
    simulator::SimulatorTotals _totals;
};

struct FaultCase {
    const char* fault;
    std::vector<const char*> findings;  // that must be among what was found
};

void PrintTo(const FaultCase& row, std::ostream* stream) { *stream << row.fault; }

class EachFaultTest : public FaultRunTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(EachFaultTest, ReaderFindsWhatTheLogSaysAndNothingElse) {
    fault(GetParam().fault);
    const auto arrivals = run();
    ASSERT_FALSE(arrivals.empty());
    const auto lines = log();
    const Findings found = findingsIn(arrivals);
    EXPECT_EQ(found, expectedIn(lines, arrivals.back().number())) << _people.str();
    expectLateness(lines, arrivals);
    for (const char* finding : GetParam().findings) EXPECT_THAT(found, Contains(finding));
    EXPECT_GE(_totals.faults, 1u);
    EXPECT_EQ(lines.front()["schema"], "dorven-fault-log/1");
    EXPECT_EQ(lines.front()["seed"], 42);
    EXPECT_EQ(lines.front()["period_ns"], 5'000'000);
    EXPECT_EQ(lines.back(), (Json{{"event", "end"}, {"next_frame", 60}}));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, EachFaultTest,
    testing::Values(FaultCase{"drop@10", {"lost 10"}}, FaultCase{"drop@10-12", {"lost 10", "lost 11", "lost 12"}},
                    FaultCase{"drop@every:20", {"lost 20", "lost 40"}}, FaultCase{"drop@p:0.3", {}},
                    FaultCase{"repeat@10", {"repeated 10"}}, FaultCase{"torn@10", {"torn 10"}},
                    FaultCase{"torn", {"torn 0"}}, FaultCase{"torn@p:0.5", {}},
                    FaultCase{"reorder@10", {"reordered 10"}},
                    FaultCase{"reorder@20-23", {"reordered 20", "reordered 22"}}, FaultCase{"delay:20ms@10", {}},
                    FaultCase{"jitter:3ms", {}}, FaultCase{"stall:100ms@20", {"lost 20", "lost 39"}},
                    FaultCase{"counter-wrap@10", {"counter 10"}}, FaultCase{"counter-wrap@every:25", {"counter 50"}},
                    FaultCase{"time-back@10", {"time_back 10"}}, FaultCase{"time-back:2s@t:50ms", {"time_back 10"}},
                    FaultCase{"recreate@every:20", {}}, FaultCase{"wrong-size@20", {"lost 20"}},
                    FaultCase{"wrong-size:50ms@20", {"lost 20", "lost 29"}},
                    FaultCase{"garbage-header@20", {"lost 20"}},
                    FaultCase{"garbage-header:50ms@20", {"lost 20", "lost 29"}}));

TEST_F(FaultRunTest, SameSeedStrikesAtTheSameFramesAndAnotherOneElsewhere) {
    fault("drop@p:0.3");
    const auto strikesOf = [this](std::uint64_t seed) {
        _options.faults.seed = seed;
        std::string error;
        const auto faults = openFaults(_options, _people, error);
        std::vector<std::uint64_t> frames;
        for (std::uint64_t frame = 0; frame < 1000; ++frame) {
            if (!faults->strikesAt(frame).empty()) frames.push_back(frame);
        }
        return frames;
    };
    EXPECT_EQ(strikesOf(1), strikesOf(1));
    EXPECT_NE(strikesOf(1), strikesOf(2));
    EXPECT_NEAR(static_cast<double>(strikesOf(3).size()), 300.0, 60.0);
}

TEST_F(FaultRunTest, StallWithBurstsLosesNothingButIsLate) {
    _options.pacing.late = simulator::LatePolicy::burst;
    fault("stall:100ms@20");
    const auto arrivals = run();
    EXPECT_THAT(findingsIn(arrivals), IsEmpty());
    EXPECT_EQ(arrivals.size(), 60u);
    expectLateness(log(), arrivals);
    const auto lines = faultLines("stall");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["expect"][0]["finding"], "late");
    EXPECT_EQ(lines[0]["expect"][0]["first"], 20);
    EXPECT_EQ(lines[0]["expect"][0]["last"], 39);
    // A busy machine may have been late with the frame before; no later one bears an earlier time.
    const bool bearsItsSlot = arrivals[20].stampNs() > arrivals[19].stampNs();
    EXPECT_TRUE(!bearsItsSlot || arrivals[20].timeNs - arrivals[20].stampNs() >= 99'000'000);
}

TEST_F(FaultRunTest, StallWithBurstsBehindALateFrameSetsNoTimeStampBack) {
    _options.pacing.late = simulator::LatePolicy::burst;
    fault("delay:150ms@18");  // frame 19 is complete later than frames 20 to 39 are due
    fault("stall:100ms@20");
    const auto arrivals = run();
    EXPECT_THAT(findingsIn(arrivals), IsEmpty());
    EXPECT_EQ(arrivals.size(), 60u);
    expectLateness(log(), arrivals);
    ASSERT_EQ(faultLines("stall").size(), 1u);
    EXPECT_EQ(faultLines("stall")[0]["expect"][0]["min_us"], 0);
}

TEST_F(FaultRunTest, SeveralFaultsAtOnceAreAllFound) {
    for (const char* text : {"torn@10", "repeat@10", "counter-wrap@10", "drop@11", "delay:15ms@30", "jitter:2ms@30-40"})
        fault(text);
    const auto arrivals = run();
    const auto lines = log();
    EXPECT_EQ(findingsIn(arrivals), expectedIn(lines, arrivals.back().number())) << _people.str();
    expectLateness(lines, arrivals);
    EXPECT_THAT(findingsIn(arrivals), testing::IsSupersetOf({"torn 10", "repeated 10", "counter 10", "lost 11"}));
}

TEST_F(FaultRunTest, WithoutStripNothingThatOnlyAStripShowsIsExpected) {
    _options.delivery.strip = false;
    for (const char* text : {"torn@10", "counter-wrap@12", "delay:1ms@14", "time-back@16"}) fault(text);
    const auto arrivals = run();
    ASSERT_GE(arrivals.size(), 40u);
    for (const Arrival& arrival : arrivals) EXPECT_EQ(arrival.image.inspection.kind, frames::ImageKind::unverified);
    for (const char* name : {"torn", "counter-wrap", "delay", "time-back"}) {
        ASSERT_EQ(faultLines(name).size(), 1u) << name;
        EXPECT_TRUE(faultLines(name)[0]["expect"].empty()) << name;
    }
}

TEST_F(FaultRunTest, HeldFrameThatHasNoSuccessorIsDeliveredAtTheEnd) {
    fault("reorder@59");
    const auto arrivals = run();
    EXPECT_THAT(findingsIn(arrivals), IsEmpty());
    EXPECT_EQ(arrivals.back().number(), 59u);
    EXPECT_TRUE(faultLines("reorder").empty());
}

TEST_F(FaultRunTest, ImagesThatWaitedUnreadInARingLaidAnewAreExpectedToBeLost) {
    _options.delivery.lineCount = 4;
    _options.pacing.frameCount = 10;
    _options.pacing.late = simulator::LatePolicy::burst;  // a busy machine leaves none out
    fault("recreate@3");
    std::string error;
    const auto faults = openFaults(_options, _people, error);
    RenderedImages source(kFormat);
    Simulator simulator(_options, source, _people, nullptr, faults.get());
    EXPECT_EQ(simulator.run(), 0);
    ASSERT_EQ(faultLines("recreate").size(), 1u);
    EXPECT_EQ(faultLines("recreate")[0]["expect"], Json::parse(R"([{"finding":"lost","first":0,"last":2}])"));
    EXPECT_EQ(simulator.totals().unread, 3u);
    EXPECT_THAT(log(), Contains(testing::ResultOf([](const Json& line) { return line.value("note", ""); }, "refused")));
    EXPECT_THAT(_people.str(), HasSubstr("unread in a ring laid anew 3, faults provoked 1"));
}

TEST_F(FaultRunTest, NoFaultsOverridesOptionsAndScenario) {
    fault("drop@10");
    _options.faults.scenarioFile = _folder.file("s.json", R"({"schema":"dorven-scenario/1","faults":["drop@12"]})");
    _options.faults.off = true;
    const auto arrivals = run();
    EXPECT_THAT(findingsIn(arrivals), IsEmpty());
    EXPECT_EQ(_totals.faults, 0u);
    EXPECT_THAT(_people.str(), HasSubstr("faults are off (--no-faults)"));
    _options.faults.logFile.clear();
    std::string error;
    EXPECT_FALSE(openFaults(_options, _people, error));
    EXPECT_EQ(error, "");
}

class FaultProgramTest : public FaultRunTest {
protected:
    test::ChildProcess start(const std::string& fault) {
        return test::ChildProcess::program(
            "dorven-simulator", {"--size", "900x60", "--fps", "200", "--no-ask", "--lines", "50", "--late", "burst",
                                 "--fault", fault, "--fault-log", _options.faults.logFile});
    }
    /// Takes images up to that number, and what arrives within a second after it.
    static std::vector<Arrival> takeBeyond(test::RingReader& reader, std::uint64_t number) {
        std::vector<Arrival> arrivals;
        const auto isThere = [&] { return !arrivals.empty() && arrivals.back().number() >= number; };
        while (const auto image = isThere() ? reader.waitAndTake(1.0) : reader.waitAndTake())
            arrivals.push_back({*image, platform_monotonicNanoseconds()});
        return arrivals;
    }
};

TEST_F(FaultProgramTest, CrashEndsAtOnceWithoutDetaching) {
    auto program = start("crash@20");
    test::RingReader reader(kFormat);
    ASSERT_TRUE(reader.attachAtSignal());
    const auto arrivals = takeBeyond(reader, 19);
    EXPECT_EQ(program.join(60s), 1);
    ASSERT_FALSE(arrivals.empty());
    EXPECT_EQ(arrivals.back().number(), 19u);
    EXPECT_TRUE(reader.writerAttached());
    EXPECT_EQ(log().back()["fault"], "crash");
    EXPECT_EQ(log().back()["expect"], Json::parse(R"([{"finding":"stopped","first":20}])"));
}

TEST_F(FaultProgramTest, HangLivesOnAttachedAndDeliversNothing) {
    auto program = start("hang@20");
    test::RingReader reader(kFormat);
    ASSERT_TRUE(reader.attachAtSignal());
    const auto arrivals = takeBeyond(reader, 19);
    ASSERT_FALSE(arrivals.empty());
    EXPECT_EQ(arrivals.back().number(), 19u);
    EXPECT_TRUE(program.running());
    EXPECT_TRUE(reader.writerAttached());
    EXPECT_EQ(log().back()["expect"], Json::parse(R"([{"finding":"stopped","first":20}])"));
    program.kill();
}

// Two sides that ask at once may refuse each other's answers, because a fifo holds one message.
constexpr simulator::AskingPace kAsksOnce{60s, 20ms, 60s};

TEST(AnswerFaultTest, NextAnswerHasOtherBytesAndTheOneAfterIsRightAgain) {
    const test::LogRecorder log;
    const auto faults = std::make_shared<simulator::AnswerFaults>();
    test::FakeCamera camera(kFormat);
    simulator::CameraLink link(kAsksOnce, faults);
    ASSERT_TRUE(link.waitForNews(60s));
    faults->falsifyNext();
    const auto wrong = camera.askForPicture();
    EXPECT_EQ(wrong.command, 4u);
    EXPECT_EQ(wrong.value32, ~1u);
    EXPECT_EQ(wrong.first, ~std::uint64_t{2});
    const auto right = camera.askForPicture();
    EXPECT_EQ(right.value32, 1u);
    EXPECT_EQ(right.first, 2u);
}

TEST(AnswerFaultTest, LateAnswerTakesItsTimeOnce) {
    const test::LogRecorder log;
    const auto faults = std::make_shared<simulator::AnswerFaults>();
    test::FakeCamera camera(kFormat);
    simulator::CameraLink link(kAsksOnce, faults);
    ASSERT_TRUE(link.waitForNews(60s));
    faults->delayNext(300'000'000);
    const std::int64_t askedNs = platform_monotonicNanoseconds();
    EXPECT_EQ(camera.askForPicture().command, 4u);
    EXPECT_GE(platform_monotonicNanoseconds() - askedNs, 300'000'000);
}

TEST(AnswerFaultTest, AnswerThatWaitsDoesNotHoldUpTheEnd) {
    simulator::AnswerFaults faults;
    faults.delayNext(3'600'000'000'000);
    kest::dorven::ImagesMessage answer{};
    auto waiting = std::async(std::launch::async, [&] { faults.apply(answer); });
    EXPECT_EQ(waiting.wait_for(20ms), std::future_status::timeout);
    faults.cancel();
    EXPECT_EQ(waiting.wait_for(60s), std::future_status::ready);
    faults.delayNext(3'600'000'000'000);
    auto later = std::async(std::launch::async, [&] { faults.apply(answer); });
    EXPECT_EQ(later.wait_for(60s), std::future_status::ready);
}

}  // namespace
