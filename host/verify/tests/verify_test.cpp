#include "verify.h"

#include <atomic>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "platform.h"
#include "scripted_device.h"
#include "simulated_image.h"
#include "temporary_folder.h"
#include "verify_report.h"

namespace {

using host::VerifyOptions;
using test::kFormat;
using test::ScriptedDevice;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kRun = R"({"schema":"dorven-fault-log/1","event":"run","seed":42,"period_ns":10000000})"
                             "\n";
constexpr const char* kDropTwo =
    R"({"event":"fault","fault":"drop","frame":2,"expect":[{"finding":"lost","first":2,"last":2}]})"
    "\n";
constexpr const char* kEnd = R"({"event":"end","next_frame":99})"
                             "\n";
constexpr const char* kCrashFive =
    R"({"event":"fault","fault":"crash","frame":5,"expect":[{"finding":"stopped","first":5}]})"
    "\n";

void deliver(ScriptedDevice& device, std::uint64_t number) {
    device.record.imageCounter = static_cast<std::uint32_t>(number);
    device.deliver(test::simulated(number).data());
}

void deliverAll(ScriptedDevice& device, const std::vector<std::uint64_t>& numbers) {
    for (const std::uint64_t number : numbers) deliver(device, number);
}

class VerifyTest : public testing::Test {
protected:
    VerifyTest() {
        _options.timeoutSeconds = 20;
        _options.json = true;
    }

    void log(const std::string& text) { _options.faultLog = _folder.file("faults.jsonl", text); }

    int verify(const std::vector<std::uint64_t>& numbers) {
        _options.imageCount = _options.imageCount == 0 ? numbers.size() : _options.imageCount;
        return verify([numbers](ScriptedDevice& device) { deliverAll(device, numbers); });
    }
    int verify(ScriptedDevice::Script script) {
        ScriptedDevice device(std::move(script));
        device.record.width = kFormat.width;
        device.record.height = kFormat.height;
        device.record.bytesPerPixel = 1;
        _data.str("");
        _people.str("");
        return verifyGrab(device, _options, _data, _people);
    }
    /// What people get on standard output for the same images.
    std::string answer(const std::vector<std::uint64_t>& numbers) {
        _options.json = false;
        verify(numbers);
        _options.json = true;
        return _data.str();
    }
    nlohmann::json data() const { return nlohmann::json::parse(_data.str(), nullptr, false); }
    /// Why nothing was compared, according to the data; "" when something was.
    std::string problem() const {
        const nlohmann::json object = data();
        if (!object.is_object() || !object.contains("problem") || !object["problem"].is_string()) return "";
        return object["problem"];
    }
    std::string people() const { return _people.str(); }

    test::TemporaryFolder _folder;
    VerifyOptions _options;
    std::ostringstream _data, _people;
};

TEST_F(VerifyTest, ExactlyTheInjectedFaultEndsWithZero) {
    log(std::string(kRun) + kDropTwo);
    EXPECT_EQ(verify({0, 1, 3, 4}), host::kExitDone) << people();
    const auto object = data();
    EXPECT_EQ(object["schema"], "dorven-verify/2");
    EXPECT_EQ(object["grab"]["schema"], "dorven-grab/2");
    EXPECT_EQ(object["fault_log"], _options.faultLog);
    EXPECT_EQ(object["seed"], 42);
    EXPECT_EQ(object["matched"], true);
    EXPECT_EQ(object["injected"], 1);
    EXPECT_EQ(object["found"], 1);
    EXPECT_EQ(object["not_injected"], 0);
    EXPECT_EQ(object["grab"]["lost"], 1);
    EXPECT_EQ(object["grab"]["findings"][0]["finding"], "lost");
    EXPECT_FALSE(object.contains("event"));
    EXPECT_THAT(people(), Not(HasSubstr("injected"))) << "the object is all";
    EXPECT_THAT(answer({0, 1, 3, 4}),
                StartsWith("the host found what was injected, and nothing else\n"
                           "injected 1 faults (seed 42): found 1, missed 0, out of the host's sight 0, not visible in "
                           "images 0\n"
                           "\n"
                           "4 images, all verified, 1 lost\n"));
}

TEST_F(VerifyTest, RequiredSimulatorThatDidNotComeEndsWithThreeWhateverTheLogSays) {
    log(std::string(kRun) + kDropTwo);
    _options.requireSimulator = true;
    _options.json = true;
    EXPECT_EQ(verify([](ScriptedDevice& device) {
                  std::vector<unsigned char> fake(kFormat.bytes(), 10);
                  device.deliver(fake.data());
              }),
              host::kExitNoImage)
        << people();
    EXPECT_EQ(problem(), "no simulator came");
    EXPECT_EQ(data()["grab"]["end"], "no_simulator");
}

TEST_F(VerifyTest, SavedImagesAreTold) {
    log(std::string(kRun) + kDropTwo);
    _options.save.folder = _folder.path("images");
    _options.save.format = "raw";
    EXPECT_THAT(answer({0, 1, 3, 4}), HasSubstr("saved 4 images in " + _options.save.folder + "\n"));
}

TEST_F(VerifyTest, ImageThatCouldNotBeSavedFailsButTheComparisonIsMade) {
    log(std::string(kRun) + kDropTwo);
    _folder.file("images/image_000001.raw", "somebody's");
    _options.save.folder = _folder.path() + "/images";
    _options.save.format = "raw";
    EXPECT_EQ(verify({0, 1, 3, 4}), host::kExitFailed);
    EXPECT_EQ(data()["matched"], true) << people();
    EXPECT_EQ(data()["grab"]["end"], "count");
}

TEST_F(VerifyTest, MissedFaultEndsWithOneAndIsNamed) {
    log(std::string(kRun) + kDropTwo + kEnd);
    EXPECT_EQ(verify({0, 1, 2, 3, 4}), host::kExitFailed);
    const auto missed = data()["missed_faults"];
    ASSERT_EQ(missed.size(), 1u);
    EXPECT_EQ(missed[0].dump(), R"({"fault":"drop","finding":"lost","first":2,"frame":2,"last":2,"line":2})");
    EXPECT_EQ(data()["matched"], false);
    const std::string text = answer({0, 1, 2, 3, 4});
    EXPECT_THAT(text, StartsWith("what the host found is not what was injected\n"));
    EXPECT_THAT(text, HasSubstr("\nmissed: drop at frame 2 (line 2): lost 2\n"));
}

TEST_F(VerifyTest, FindingThatWasNotInjectedEndsWithOneAndIsNamed) {
    log(std::string(kRun) + R"({"event":"end","next_frame":5})" + "\n");
    EXPECT_EQ(verify({0, 1, 1, 4}), host::kExitFailed);
    EXPECT_EQ(data()["not_injected"], 2);
    EXPECT_EQ(data()["explained"], 0);
    EXPECT_TRUE(data()["not_injected_findings"][0]["because"].is_null());
    EXPECT_THAT(answer({0, 1, 1, 4}), HasSubstr("not injected: lost 2-3\nnot injected: repeated 1\n"));
}

TEST_F(VerifyTest, ExplainedFindingCountsUnlessItIsAllowed) {
    log(std::string(kRun) + R"({"event":"note","note":"refused","first":2,"last":2})" + "\n" +
        R"({"event":"note","note":"odd-one","first":4,"last":4})" + "\n" + R"({"event":"end","next_frame":9})" + "\n");
    EXPECT_EQ(verify({0, 1, 3, 5}), host::kExitFailed);
    EXPECT_EQ(data()["not_injected_findings"][0]["because"], "refused");
    EXPECT_EQ(data()["explained"], 2);
    const std::string text = answer({0, 1, 3, 5});
    EXPECT_THAT(text, HasSubstr("not injected: lost 2 (refused: the ring was full, the host was too slow)\n"));
    EXPECT_THAT(text, HasSubstr("not injected: lost 4 (odd-one)\n"));
    _options.allowExplained = true;
    EXPECT_EQ(verify({0, 1, 3, 5}), host::kExitDone);
    EXPECT_EQ(data()["matched"], true);
}

TEST_F(VerifyTest, InjectedStopIsFoundByTheTimeout) {
    log(std::string(kRun) + kCrashFive);
    _options.timeoutSeconds = 0.2;
    _options.imageCount = 100;
    EXPECT_EQ(verify({0, 1, 2, 3, 4}), host::kExitDone) << people();
    EXPECT_EQ(data()["grab"]["end"], "no_image");
}

TEST_F(VerifyTest, InjectedStopIsFoundByFakedImages) {
    log(std::string(kRun) + kCrashFive);
    EXPECT_EQ(verify([](ScriptedDevice& device) {
                  deliverAll(device, {3, 4});
                  std::vector<unsigned char> fake(kFormat.bytes(), 10);
                  device.deliver(fake.data());
              }),
              host::kExitDone)
        << people();
    EXPECT_EQ(data()["grab"]["end"], "connection_lost");
}

TEST_F(VerifyTest, StopThatWasNotInjectedKeepsItsExitCode) {
    log(std::string(kRun) + kEnd);
    _options.timeoutSeconds = 0.2;
    _options.imageCount = 100;
    EXPECT_EQ(verify({0, 1}), host::kExitNoImage);
    EXPECT_THAT(answer({0, 1}), HasSubstr("not injected: stopped 2\n"));
    EXPECT_EQ(verify([](ScriptedDevice& device) {
                  deliver(device, 1);
                  std::vector<unsigned char> fake(kFormat.bytes(), 10);
                  device.deliver(fake.data());
              }),
              host::kExitConnectionLost);
}

TEST_F(VerifyTest, InjectedStopBesideAMissedFaultEndsWithOne) {
    log(std::string(kRun) + kDropTwo + kCrashFive + kEnd);
    _options.timeoutSeconds = 0.2;
    _options.imageCount = 100;
    EXPECT_EQ(verify({0, 1, 2, 3, 4}), host::kExitFailed);
}

TEST_F(VerifyTest, OrderlyEndOfTheSimulatorEndsWithZero) {
    log(std::string(kRun) + R"({"event":"end","next_frame":2})" + "\n");
    _options.timeoutSeconds = 0.2;
    _options.imageCount = 100;
    EXPECT_EQ(verify({0, 1}), host::kExitDone) << people();
}

TEST_F(VerifyTest, NoImageAtAllEndsWithThree) {
    log(kRun);
    _options.timeoutSeconds = 0.1;
    EXPECT_EQ(verify([](ScriptedDevice&) {}), host::kExitNoImage);
    EXPECT_EQ(data()["matched"], false);
    EXPECT_EQ(answer({}), "") << "no table of zeros";
    EXPECT_THAT(people(), HasSubstr("no image came for 0.1 s; "));
    EXPECT_THAT(people(), testing::Not(HasSubstr("could be compared"))) << "the reason is the last line";
}

TEST_F(VerifyTest, ImagesThatTellNothingEndWithOne) {
    log(kRun);
    _options.imageCount = 1;
    EXPECT_EQ(verify([](ScriptedDevice& device) {
                  std::vector<unsigned char> fake(kFormat.bytes(), 10);
                  device.deliver(fake.data());
              }),
              host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("no image since the grab began could be compared with the log"));
}

TEST_F(VerifyTest, BrokenLimitEndsWithOneThoughAllMatches) {
    log(std::string(kRun) + kDropTwo);
    _options.limits[0] = 0;
    EXPECT_EQ(verify({0, 1, 3}), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("limit broken: --max-lost 0: lost 1 images"));
    EXPECT_EQ(data()["matched"], true);
    EXPECT_EQ(data()["grab"]["limits_broken"].size(), 1u);
    EXPECT_THAT(answer({0, 1, 3}), StartsWith("the host found what was injected, and nothing else\n"));
}

TEST_F(VerifyTest, InjectedDelayIsFoundWithoutALimit) {
    log(std::string(kRun) +
        R"({"event":"fault","fault":"delay","frame":1,"expect":[{"finding":"late","first":1,"last":1,"min_us":3000}]})"
        "\n");
    const auto script = [](ScriptedDevice& device) {
        deliver(device, 0);
        std::vector<unsigned char> bytes(kFormat.bytes(), 1);
        const frames::Canvas canvas{bytes.data(), kFormat};
        const std::int64_t complete = platform_monotonicNanoseconds();
        frames::stampStrip(canvas, {0, 1, static_cast<std::uint64_t>(complete), frames::crcOutsideStrip(canvas)});
        device.record.imageCounter = 1;
        platform_sleepUntil(complete + 3'000'000);
        device.deliver(bytes.data());
        deliver(device, 2);
    };
    _options.imageCount = 3;
    EXPECT_EQ(verify(script), host::kExitDone) << people();
    EXPECT_EQ(data()["found"], 1);
    EXPECT_EQ(data()["grab"]["late_from_us"], 1000.0);
    _options.limits[6] = 1e9;
    EXPECT_EQ(verify(script), host::kExitDone) << people();
    EXPECT_EQ(data()["grab"]["late_from_us"], 1000.0) << "the log may tell of less than the limit";
    _options.limits[6] = 500;
    log(std::string(kRun) + kEnd);
    EXPECT_EQ(verify(script), host::kExitFailed);
    EXPECT_EQ(data()["not_injected_findings"][0]["finding"], "late");
}

// A simulator that is started later creates it.
TEST_F(VerifyTest, LogThatIsNotThereYetIsToldOfBeforeTheGrabAndFailsItAfterwards) {
    _options.faultLog = _folder.path() + "/none.jsonl";
    std::string toldAtFirst;
    EXPECT_EQ(verify([&](ScriptedDevice& device) {
                  toldAtFirst = _people.str();
                  _options.imageCount = 2;
                  deliverAll(device, {0, 1});
              }),
              host::kExitFailed);
    EXPECT_THAT(toldAtFirst, HasSubstr("none.jsonl: is not there yet; a simulator that is started with --fault-log "
                                       "writes it\n"));
    EXPECT_THAT(people(), HasSubstr("none.jsonl: cannot be read\n"));
    EXPECT_THAT(problem(), EndsWith("none.jsonl: cannot be read"));
    EXPECT_EQ(data()["matched"], false);
    EXPECT_EQ(data()["grab"]["images"], 2);
}

TEST_F(VerifyTest, LogThatNeverCanBeReadEndsBeforeTheGrab) {
    const auto told = [this](const std::string& path) {
        _options.faultLog = path;
        bool grabbed = false;
        EXPECT_EQ(verify([&](ScriptedDevice&) { grabbed = true; }), host::kExitFailed);
        EXPECT_FALSE(grabbed) << path;
        EXPECT_EQ(data()["matched"], false);
        EXPECT_TRUE(data()["grab"].is_null());
        EXPECT_EQ("dorven-host: " + problem() + "\n", people());
        return people();
    };
    EXPECT_THAT(told(_folder.path()), EndsWith(": cannot be read\n")) << "a folder";
    EXPECT_THAT(told(_folder.path() + "/none/faults.jsonl"), EndsWith(": cannot be read: there is no such folder\n"));
    EXPECT_THAT(told(_folder.file("grab.json", "{}\n")), EndsWith("grab.json, line 1: \"event\" is missing\n"));
}

// The simulator creates the file before it writes into it.
TEST_F(VerifyTest, LogWithoutItsFirstLineYetIsWaitedFor) {
    for (const std::string& begun : {std::string(), std::string(kRun).substr(0, 20)}) {
        log(begun);
        _options.imageCount = 3;
        EXPECT_EQ(verify([this](ScriptedDevice& device) {
                      _folder.file("faults.jsonl", std::string(kRun) + kDropTwo);
                      deliverAll(device, {0, 1, 3});
                  }),
                  host::kExitDone)
            << people();
    }
}

TEST_F(VerifyTest, LogThatEndsInTheMiddleOfALineFailsWithThatLine) {
    log(std::string(kRun) + std::string(kDropTwo).substr(0, 50));
    EXPECT_EQ(verify({0, 1, 3}), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("faults.jsonl, line 2: ends in its middle; the simulator was killed, or its disk "
                                    "is full\n"));
    auto object = data();
    EXPECT_THAT(problem(), HasSubstr("faults.jsonl, line 2: ends in its middle"));
    EXPECT_EQ(object["matched"], false);
    EXPECT_EQ(object["grab"]["lost"], 1);
    for (const char* key : {"seed", "injected", "found", "missed", "not_injected", "explained"})
        EXPECT_TRUE(object.contains(key) && object[key].is_null()) << key << ": nothing was compared";
    EXPECT_TRUE(object["missed_faults"].empty() && object["not_injected_findings"].empty());
}

TEST_F(VerifyTest, LogThatIsStillWrittenIsReadAgain) {
    log(std::string(kRun) + std::string(kDropTwo).substr(0, 50));
    std::thread writer;
    const int exitCode = verify([&](ScriptedDevice& device) {
        writer = std::thread([this] {
            platform_sleepUntil(platform_monotonicNanoseconds() + 500'000'000);
            _folder.file("faults.jsonl", std::string(kRun) + kDropTwo);
        });
        _options.imageCount = 3;
        deliverAll(device, {0, 1, 3});
        platform_sleepUntil(platform_monotonicNanoseconds() + 1'000'000);
    });
    writer.join();
    EXPECT_EQ(exitCode, host::kExitDone) << people();
}

TEST_F(VerifyTest, GrabThatCouldNotBeginFailsWithoutAComparison) {
    log(kRun);
    ScriptedDevice device([](ScriptedDevice&) {});
    device.openStatus = NUV::kNotSupported;
    EXPECT_EQ(verifyGrab(device, _options, _data, _people), host::kExitFailed);
    EXPECT_THAT(people(), Not(HasSubstr("injected")));
    EXPECT_EQ(problem(), "the grab failed");
    EXPECT_EQ(data()["grab"]["end"], "failed");
}

TEST_F(VerifyTest, SimulatorThatBeganAnewCannotBeCompared) {
    log(kRun);
    EXPECT_EQ(verify({7, 8, 0, 1}), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("the simulator began anew during the grab; its log tells of one run alone\n"));
    EXPECT_EQ(data()["grab"]["restarts"], 1);
    EXPECT_THAT(problem(), HasSubstr("the simulator began anew"));
}

TEST_F(VerifyTest, JsonLinesEndWithTheGrabAndTheComparison) {
    log(std::string(kRun) + kDropTwo);
    _options.json = false;
    _options.jsonLines = true;
    EXPECT_EQ(verify({0, 1, 3}), host::kExitDone) << people();
    std::istringstream lines(_data.str());
    std::vector<nlohmann::json> objects;
    for (std::string line; std::getline(lines, line);) objects.push_back(nlohmann::json::parse(line, nullptr, false));
    ASSERT_GE(objects.size(), 3u);
    EXPECT_EQ(objects[objects.size() - 2]["event"], "end");
    EXPECT_EQ(objects.back()["event"], "verify");
    EXPECT_EQ(objects.back()["matched"], true);
    EXPECT_TRUE(objects.back()["problem"].is_null());
    EXPECT_FALSE(objects.back().contains("grab"));
}

TEST_F(VerifyTest, JsonLinesHaveTheComparisonThatCouldNotBeMade) {
    log(std::string(kRun) + "{");
    _options.json = false;
    _options.jsonLines = true;
    EXPECT_EQ(verify({0, 1, 3}), host::kExitFailed);
    const std::string lines = _data.str();
    _data.str(lines.substr(lines.rfind('\n', lines.size() - 2) + 1));
    EXPECT_EQ(data()["event"], "verify");
    EXPECT_THAT(problem(), HasSubstr("line 2: ends in its middle"));
}

// ---- saved findings

constexpr const char* kSaved =
    R"({"schema":1,"restarts":0,"first_frame":0,"last_frame":9,"late_from_us":null,"findings_omitted":0,)"
    R"("findings":[{"finding":"lost","first":2,"last":2}]})";

TEST_F(VerifyTest, SavedFindingsAreComparedWithoutADevice) {
    _options.findingsFile = _folder.file("grab.json", kSaved);
    log(std::string(kRun) + kDropTwo);
    EXPECT_EQ(verifySaved(_options, _data, _people), host::kExitDone) << people();
    EXPECT_EQ(data()["matched"], true);
    EXPECT_TRUE(data()["grab"].is_null());
    log(kRun);
    _options.json = false;
    _data.str("");
    EXPECT_EQ(verifySaved(_options, _data, _people), host::kExitFailed);
    EXPECT_THAT(_data.str(), HasSubstr("not injected: lost 2\n"));
    EXPECT_EQ(people(), "");
}

TEST_F(VerifyTest, SavedFindingsAndLogsThatCannotBeReadFail) {
    _options.findingsFile = _folder.file("grab.json", "x");
    log(kRun);
    EXPECT_EQ(verifySaved(_options, _data, _people), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("grab.json: is not what grab --json"));
    EXPECT_THAT(problem(), HasSubstr("grab.json: is not what grab --json"));
    _data.str("");
    _options.findingsFile = _folder.file("grab.json", kSaved);
    log("");
    EXPECT_EQ(verifySaved(_options, _data, _people), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("faults.jsonl: is empty"));
    EXPECT_THAT(problem(), HasSubstr("faults.jsonl: is empty"));
    _data.str("");
    log(std::string(kRun) + "{");
    EXPECT_EQ(verifySaved(_options, _data, _people), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("line 2: ends in its middle"));
    EXPECT_THAT(problem(), HasSubstr("line 2: ends in its middle"));
}

TEST_F(VerifyTest, SavedGrabThatSawNothingIsNoMatch) {
    _options.findingsFile = _folder.file(
        "grab.json", R"({"schema":1,"restarts":0,"first_frame":null,"last_frame":null,"late_from_us":null,)"
                     R"("findings_omitted":0,"findings":[]})");
    log(kRun);
    EXPECT_EQ(verifySaved(_options, _data, _people), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr("no image since the grab began"));
}

// ---- the report's lists

TEST(VerifyReportTest, ListsAreBoundedAndCounted) {
    host::FaultLog log;
    log.faults.push_back({2, "drop", 5, {}});
    host::FaultMatch match;
    for (std::uint64_t frame = 0; frame < 10'020; ++frame)
        match.missing.push_back({&log.faults[0], host::FindingKind::late, {frame, frame}, 20.0});
    for (std::uint64_t frame = 0; frame < 130; ++frame)
        match.uninjected.push_back({{host::FindingKind::stopped, {frame, frame}, {}}, ""});
    const host::VerifyReport report{"a\xFF.jsonl", log, match, false, nullptr};
    std::ostringstream people;
    tellVerify(report, people);
    EXPECT_THAT(people.str(), AllOf(HasSubstr("late 99\nmissed: 9920 more\n"), HasSubstr("stopped 99\nnot injected: 30 "
                                                                                         "more\n")));
    std::ostringstream data;
    printVerifyJson(report, false, data);
    const auto object = nlohmann::json::parse(data.str(), nullptr, false);
    EXPECT_EQ(object["fault_log"], "a\xEF\xBF\xBD.jsonl");
    EXPECT_EQ(object["missed_faults"].size(), 10'000u);
    EXPECT_EQ(object["missed_faults"][3]["min_us"], 20.0);
    EXPECT_EQ(object["not_injected_findings"].size(), 130u);
    EXPECT_FALSE(object["not_injected_findings"][0].contains("last"));
    EXPECT_EQ(object["not_injected"], 130);
    EXPECT_EQ(object["lists_omitted"], 20);
}

}  // namespace
