// Host, plugin and simulator as real processes.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "DorVenImagesComm.h"
#include "child_process.h"
#include "host.h"
#include "host_options.h"
#include "image_file.h"
#include "image_ring.h"
#include "inspection.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "named_claim.h"
#include "object_names.h"
#include "plugin_library.h"
#include "programs_fixture.h"
#include "ring_watch.h"

namespace {

using simulator::ImageRing;
using test::ProgramsTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

constexpr frames::ImageFormat kFormat{900, 40, 1};
// A camera that is just being opened may still answer with its own size.
constexpr const char* kSize = "900x40";
const std::string kCamerasEvent = image_road::finishedOf(image_road::kCameraAsks);

TEST_F(ProgramsTest, HostReceivesTheSimulatorsImagesWhole) {
    auto simulator = startSimulator({"--config", _config, "--size", kSize, "--fps", "10", "--count", "600"});
    auto host = startGrab({"--count", "20"});
    EXPECT_EQ(host.join(60s), 0) << people();
    simulator.kill();
    const auto result = data();
    EXPECT_EQ(result["images"], 20);
    EXPECT_EQ(result["simulated"], 20);
    for (const char* key : {"faked", "unverified", "lost", "repeated", "reordered", "torn"})
        EXPECT_EQ(result[key], 0) << key << "\n" << people();
    EXPECT_GT(result["fps_mean"], 5.0);
    EXPECT_LT(result["fps_mean"], 15.0);
    EXPECT_GT(result["latency_p50_us"], 0.0);
    EXPECT_GT(result["mb_per_s"], 0.0);
}

TEST_F(ProgramsTest, JsonOfAGrabHasTheDocumentedKeysAndNoOther) {
    auto simulator = startSimulator({"--config", _config, "--size", kSize, "--fps", "100"});
    auto host = startGrab({"--count", "5"});
    EXPECT_EQ(host.join(60s), 0) << people();
    simulator.kill();
    std::vector<std::string> keys;
    const auto object = nlohmann::ordered_json::parse(text("out.txt"));
    for (const auto& item : object.items()) keys.push_back(item.key());
    EXPECT_THAT(
        keys, ElementsAre("schema", "images", "simulated", "faked", "unverified", "lost", "repeated", "reordered",
                          "torn", "stale", "format", "counter", "time_back", "late", "stopped", "restarts", "pauses",
                          "fps_mean", "period_p50_us", "period_p99_us", "period_max_us", "jitter_p99_us",
                          "latency_p50_us", "latency_p99_us", "latency_max_us", "mb_per_s", "cpu_percent", "duration_s",
                          "pause_s", "saved", "not_saved", "not_saved_reason", "first_frame", "last_frame", "end",
                          "late_from_us", "limits_broken", "findings", "findings_omitted"));
}

TEST_F(ProgramsTest, KeptLimitsEndWithZeroAndBrokenOnesWithOneAndTheirNames) {
    auto simulator = startSimulator({"--config", _config, "--size", kSize, "--fps", "50"});
    auto keeping = startGrab({"--count", "20", "--max-lost", "1000", "--max-torn", "0", "--max-faked", "0", "--min-fps",
                              "1", "--min-images", "20", "--max-latency-us", "1e9", "--max-jitter-us", "1e9"});
    EXPECT_EQ(keeping.join(60s), 0) << people();
    EXPECT_EQ(data()["limits_broken"], nlohmann::json::array());
    EXPECT_EQ(data()["late_from_us"], 1e9);
    auto breaking = startGrab({"--count", "20", "--min-fps", "9999", "--max-latency-us", "0", "--min-images", "5"});
    EXPECT_EQ(breaking.join(60s), host::kExitFailed);
    simulator.kill();
    EXPECT_THAT(people(), HasSubstr("dorven-host: limit broken: --min-fps 9999.000: fps_mean "));
    EXPECT_THAT(people(), HasSubstr("dorven-host: limit broken: --max-latency-us 0.000: latency_max_us "));
    EXPECT_THAT(people(), Not(HasSubstr("--min-images")));
    const auto broken = data()["limits_broken"];
    ASSERT_EQ(broken.size(), 2u);
    EXPECT_EQ(broken[0]["option"], "--max-latency-us");
    EXPECT_EQ(broken[1]["key"], "fps_mean");
    EXPECT_EQ(broken[1]["limit"], 9999.0);
    EXPECT_EQ(broken[1]["value"], data()["fps_mean"]);
    EXPECT_GT(data()["late"], 0);
}

TEST_F(ProgramsTest, ImagesWithoutAStripBreakALimitThatCountsImages) {
    auto simulator = startSimulator({"--size", kSize, "--no-ask", "--fps", "50", "--no-strip"});
    EXPECT_EQ(startGrab({"--count", "20", "--max-lost", "0"}).join(60s), host::kExitFailed) << people();
    EXPECT_EQ(data()["limits_broken"][0]["option"], "--max-unverified");
    EXPECT_THAT(people(), HasSubstr("dorven-host: not verified: 20 of 20 images: they have no strip"));
    EXPECT_EQ(startGrab({"--count", "20", "--max-lost", "0", "--max-unverified", "20"}).join(60s), 0) << people();
    simulator.kill();
}

TEST_F(ProgramsTest, SimulatorWithLargerImagesBreaksALimitThatCountsImagesAndTheReasonIsNamed) {
    auto simulator = startSimulator({"--size", "1280x1024", "--no-ask", "--fps", "50"});
    EXPECT_EQ(startGrab({"--count", "20", "--min-images", "20"}).join(60s), host::kExitFailed);
    simulator.kill();
    EXPECT_EQ(data()["unverified"], 20);
    EXPECT_THAT(people(), HasSubstr("not verified: 20 of 20 images: the simulator's lines have another length"));
    EXPECT_THAT(people(), HasSubstr("dorven-host: no image of this grab was verified\n"));
}

TEST_F(ProgramsTest, RateIsTheTrueOneHoweverManyImagesWaitedInTheRing) {
    auto simulator = startSimulator({"--size", kSize, "--no-ask", "--fps", "100", "--lines", "100"});
    ASSERT_TRUE(test::RingWatch().waitForWaiting(100));
    EXPECT_EQ(startGrab({"--count", "200", "--min-fps", "105"}).join(60s), host::kExitFailed) << people();
    simulator.kill();
    EXPECT_EQ(data()["images"], 200);
    EXPECT_GE(data()["stale"], 50);
    EXPECT_LT(data()["fps_mean"], 105.0);
}

TEST_F(ProgramsTest, BrokenLimitDoesNotHideThatNoImageCame) {
    auto host = startGrab({"--timeout", "0.3", "--min-images", "1"});
    EXPECT_EQ(host.join(60s), host::kExitNoImage);
    EXPECT_EQ(data()["limits_broken"].size(), 1u);
    EXPECT_EQ(data()["end"], "no_image");
}

TEST_F(ProgramsTest, JsonLinesTellEachImageEachSecondAndTheEnd) {
    auto simulator = startSimulator({"--config", _config, "--size", kSize, "--fps", "20"});
    auto host = startHost({"grab", "--config", _config, "--json-lines", "--frames", "--count", "45"});
    EXPECT_EQ(host.join(60s), 0) << people();
    simulator.kill();
    std::ifstream file(_folder.path("out.txt"));
    std::map<std::string, int> events;
    int inSeconds = 0;
    nlohmann::json object;
    for (std::string line; std::getline(file, line);) {
        object = nlohmann::json::parse(line, nullptr, false);
        ASSERT_TRUE(object.is_object()) << line;
        EXPECT_EQ(object["schema"], "dorven-grab/2");
        if (object["event"] == "frame") {
            EXPECT_EQ(object["image"], events["frame"]);
        }
        if (object["event"] == "second") inSeconds += object["images"].get<int>();
        ++events[object["event"]];
    }
    EXPECT_EQ(events["frame"], 45);
    EXPECT_GE(events["second"], 2);
    EXPECT_EQ(inSeconds, 45);
    EXPECT_EQ(events["end"], 1);
    EXPECT_EQ(object["event"], "end") << "the last line";
    EXPECT_EQ(object["images"], 45);
    EXPECT_EQ(object["frames_omitted"], 0);
}

TEST_F(ProgramsTest, ImagesThatWaitedInTheRingBeforeTheGrabMakeNoLoss) {
    auto simulator = startSimulator({"--config", _config, "--size", kSize, "--fps", "10", "--lines", "3"});
    ASSERT_TRUE(test::RingWatch().waitForWaiting(3));
    std::this_thread::sleep_for(500ms);  // five periods, in which frames are refused
    auto host = startGrab({"--count", "10"});
    EXPECT_EQ(host.join(60s), 0) << people();
    simulator.kill();
    EXPECT_EQ(data()["simulated"], 10);
    EXPECT_EQ(data()["lost"], 0) << people();
}

TEST_F(ProgramsTest, SavedImagesOpenAndTheirStripsAreRead) {
    auto simulator = startSimulator({"--config", _config, "--size", kSize, "--fps", "50"});
    const std::string output = _folder.path("images/x").substr(0, _folder.path("images").size());
    auto host = startGrab({"--count", "21", "--output", output, "--every", "10"});
    EXPECT_EQ(host.join(60s), 0) << people();
    simulator.kill();
    std::vector<std::uint64_t> numbers;
    for (const char* name : {"image_000000.png", "image_000010.png", "image_000020.png"}) {
        frames::GreyImage image;
        std::string error;
        ASSERT_TRUE(frames::readGreyImage(output + "/" + name, image, error)) << error;
        EXPECT_EQ(image.width, 900u);
        EXPECT_EQ(image.height, 40u);
        const auto inspection = frames::inspectImage({image.pixels.data(), kFormat});
        ASSERT_EQ(inspection.kind, frames::ImageKind::simulated);
        numbers.push_back(inspection.strip->frameNumber);
    }
    EXPECT_GE(numbers[1], numbers[0] + 10);
    EXPECT_GE(numbers[2], numbers[1] + 10);
}

TEST_F(ProgramsTest, PicturesAreReplayedThroughTheCamera) {
    _folder.file("pictures/a.pgm", "P5 900 40 255\n" + std::string(36000, 'a'));
    const std::string pictures = _folder.path("pictures/a.pgm").substr(0, _folder.path("pictures").size());
    auto simulator = startSimulator({"--config", _config, "--images", pictures, "--fps", "50"});
    const std::string output = _folder.path("images/x").substr(0, _folder.path("images").size());
    auto host = startGrab({"--count", "3", "--output", output});
    EXPECT_EQ(host.join(60s), 0) << people();
    simulator.kill();
    frames::GreyImage image;
    std::string error;
    ASSERT_TRUE(frames::readGreyImage(output + "/image_000001.png", image, error)) << error;
    EXPECT_EQ(image.pixels[16 * 900], 'a');
    EXPECT_EQ(image.pixels.back(), 'a');
    const auto inspection = frames::inspectImage({image.pixels.data(), kFormat});
    ASSERT_TRUE(inspection.strip);
    EXPECT_EQ(inspection.strip->flags, frames::kStripReplayed);
}

TEST_F(ProgramsTest, EveryByteDepthArrivesWhole) {
    for (const char* depth : {"2", "3", "4", "7"}) {
        const std::string config = _folder.file(
            "deep.ini", "[image]\nimage_size_x=450\nimage_size_y=40\nbytes_per_pixel=" + std::string(depth) + "\n");
        auto simulator = startSimulator({"--config", config, "--fps", "50"});
        auto host = startHost({"grab", "--config", config, "--json", "--count", "5"});
        EXPECT_EQ(host.join(60s), 0) << people();
        simulator.kill();
        EXPECT_EQ(data()["simulated"], 5) << depth;
    }
}

TEST_F(ProgramsTest, SimulatorWithSmallerImagesFailsTheGrabWithAdvice) {
    auto simulator = startSimulator({"--size", "900x20", "--lines", "3", "--fps", "50"});
    auto host = startHost({"grab"});  // 1280 x 1024 pixels
    EXPECT_EQ(host.join(60s), host::kExitFailed) << people();
    simulator.kill();
    EXPECT_THAT(people(), HasSubstr("the simulator's images are smaller than the camera's 1280x1024; give both the "
                                    "same --config"));
}

// This test is the writer, so that it can do what an intact simulator never does.
class ScriptedWriterTest : public ProgramsTest {
protected:
    void SetUp() override { ASSERT_EQ(_ring.open(), ImageRing::OpenResult::opened); }

    // Wakes the camera until it has linked the ring.
    bool waitForReader() {
        void* const memory = MSharedMem_Link(image_road::kImagesMemory);
        bool attached = false;
        for (int round = 0; round < 6000 && !attached; ++round) {
            _ring.wakeReader();
            std::this_thread::sleep_for(10ms);
            attached = MMemLineFifo_IsReaderAttached(memory) != 0;
        }
        MSharedMem_Unlink(memory);
        return attached;
    }
    void write(std::uint64_t number, std::int64_t timeStampNs, bool torn = false) {
        std::uint8_t* const pixels = _ring.slotPixels();
        ASSERT_TRUE(pixels);
        const frames::Canvas canvas{pixels, kFormat};
        std::memset(pixels, static_cast<int>(number), kFormat.bytes());
        frames::stampStrip(canvas,
                           {0, number, static_cast<std::uint64_t>(timeStampNs), frames::crcOutsideStrip(canvas)});
        if (torn) std::memset(pixels + 30 * 900, 200, std::size_t{10} * 900);
        ASSERT_TRUE(_ring.publish({number, static_cast<double>(timeStampNs) / 1e9, 0.01}));
    }

    ImageRing _ring{kFormat.bytes(), 40};
};

TEST_F(ScriptedWriterTest, FrameTornInTheMiddleIsReportedExactly) {
    auto host = startGrab({"--count", "12"});
    ASSERT_TRUE(waitForReader());
    for (std::uint64_t number = 100; number < 112; ++number)
        write(number, platform_monotonicNanoseconds(), number == 105);
    EXPECT_EQ(host.join(60s), 0) << people();
    EXPECT_EQ(data()["torn"], 1);
    EXPECT_EQ(data()["simulated"], 11);
    EXPECT_EQ(data()["lost"], 0);
    EXPECT_EQ(data()["findings"], nlohmann::json::parse(R"([{"finding":"torn","first":105,"last":105}])"));
}

TEST_F(ScriptedWriterTest, LostRepeatedAndReorderedFramesAreReportedExactly) {
    auto host = startGrab({"--count", "9"});
    ASSERT_TRUE(waitForReader());
    const std::int64_t nowNs = platform_monotonicNanoseconds();
    for (const std::uint64_t number : {0u, 1u, 2u, 2u, 5u, 4u, 6u, 9u, 10u})
        write(number, nowNs + static_cast<std::int64_t>(number));
    EXPECT_EQ(host.join(60s), 0) << people();
    EXPECT_EQ(data()["lost"], 3);
    EXPECT_EQ(data()["repeated"], 1);
    EXPECT_EQ(data()["reordered"], 1);
    EXPECT_EQ(data()["torn"], 0);
}

// The log is written while the host grabs, as a simulator does.
TEST_F(ScriptedWriterTest, VerifyFindsTheFaultsOfTheLogAndTellsWhatIsNotInIt) {
    const std::string run = R"({"schema":"dorven-fault-log/1","event":"run","seed":5})"
                            "\n";
    const std::string faults =
        R"({"event":"fault","fault":"drop","frame":103,"expect":[{"finding":"lost","first":103,"last":104}]})"
        "\n"
        R"({"event":"fault","fault":"torn","frame":106,"expect":[{"finding":"torn","first":106,"last":106}]})"
        "\n";
    const std::string log = _folder.file("faults.jsonl", run);
    auto host = startHost({"verify", "--config", _config, "--json", "--count", "8", "--fault-log", log});
    ASSERT_TRUE(waitForReader());
    for (const std::uint64_t number : {100u, 101u, 102u, 105u, 106u, 107u, 108u, 109u})
        write(number, platform_monotonicNanoseconds(), number == 106);
    _folder.file("faults.jsonl", run + faults);
    EXPECT_EQ(host.join(60s), 0) << people();
    EXPECT_EQ(data()["matched"], true);
    EXPECT_EQ(data()["found"], 2);
    auto grab = data()["grab"];
    grab["late_from_us"] = nullptr;  // as in a grab without limits: a busy machine's lateness does not count
    const std::string saved = _folder.file("grab.json", grab.dump());
    EXPECT_EQ(startHost({"verify", "--findings", saved, "--fault-log", log}).join(60s), 0) << people();
    EXPECT_THAT(text("out.txt"), testing::StartsWith("the host found what was injected, and nothing else\n"));
    _folder.file("faults.jsonl", run);
    EXPECT_EQ(startHost({"verify", "--findings", saved, "--fault-log", log}).join(60s), host::kExitFailed);
    EXPECT_THAT(text("out.txt"), HasSubstr("not injected: lost 103-104\nnot injected: torn 106\n"));
}

TEST_F(ProgramsTest, VerifyOfAKilledSimulatorFindsItsStop) {
    auto simulator = startSimulator({"--config", _config, "--size", kSize, "--fps", "50"});
    const std::string log = _folder.path("faults.jsonl");
    auto host = startHost({"verify", "--config", _config, "--json", "--timeout", "8", "--fault-log", log});
    EXPECT_TRUE(test::RingWatch().waitForTaken(20));
    simulator.kill();
    _folder.file("faults.jsonl", R"({"schema":"dorven-fault-log/1","event":"run","seed":5})"
                                 "\n");
    EXPECT_EQ(host.join(60s), host::kExitNoImage) << people();
    const auto result = data();
    ASSERT_EQ(result["grab"]["stopped"], 1) << people();
    const std::uint64_t stop = result["grab"]["last_frame"].get<std::uint64_t>() + 1;
    EXPECT_EQ(result["not_injected_findings"][0]["finding"], "stopped");
    EXPECT_EQ(result["not_injected_findings"][0]["first"], stop);
}

TEST_F(ProgramsTest, SimulatorThatIsStartedAfterTheGrabIsFound) {
    auto host = startGrab({"--count", "5"});
    EXPECT_TRUE(test::becomesTrue([] { return NamedClaim::isTaken(kCamerasEvent); }));
    auto simulator = startSimulator({"--config", _config, "--size", kSize, "--fps", "50"});
    EXPECT_EQ(host.join(60s), 0) << people();
    simulator.kill();
    EXPECT_EQ(data()["simulated"], 5);
}

TEST_F(ProgramsTest, SimulatorThatIsKilledAndStartedAgainDuringAGrabComesBack) {
    auto first = startSimulator({"--config", _config, "--size", kSize, "--fps", "50"});
    auto host = startGrab({"--count", "200"});
    EXPECT_TRUE(test::RingWatch().waitForTaken(20));
    first.kill();
    auto second = startSimulator({"--config", _config, "--size", kSize, "--fps", "100"});
    EXPECT_EQ(host.join(60s), 0) << people();
    second.kill();
    EXPECT_EQ(data()["simulated"], 200);
    EXPECT_EQ(data()["reordered"], 0);
    EXPECT_EQ(data()["torn"], 0);
}

TEST_F(ProgramsTest, NoImageInTimeEndsWithThree) {
    auto host = startGrab({"--timeout", "0.5"});
    EXPECT_EQ(host.join(60s), host::kExitNoImage);
    EXPECT_EQ(data()["images"], 0);
    EXPECT_TRUE(data()["fps_mean"].is_null());
    EXPECT_THAT(people(), HasSubstr("no image came for 0.5 s"));
}

// The camera needs eleven waits of 2 s before it fakes.
TEST_F(ProgramsTest, FakedImagesAfterSimulatedOnesEndWithFour) {
    auto simulator = startSimulator({"--config", _config, "--size", kSize, "--fps", "50"});
    auto host = startGrab({"--timeout", "40"});
    EXPECT_TRUE(test::RingWatch().waitForTaken(20));
    simulator.kill();
    EXPECT_EQ(host.join(60s), host::kExitConnectionLost) << people();
    EXPECT_GT(data()["simulated"], 0);
    EXPECT_EQ(data()["faked"], 1);
}

TEST_F(ProgramsTest, InfoPrintsOneJsonObject) {
    EXPECT_EQ(startHost({"info", "--json"}).join(60s), 0) << people();
    EXPECT_EQ(data()["device_name"], "DorVenCam");
    EXPECT_EQ(data()["kinds"], nlohmann::json({1, 2, 3}));
    EXPECT_EQ(people(), "");
}

TEST_F(ProgramsTest, InfoPrintsTheCommands) {
    EXPECT_EQ(startHost({"info", "--commands", "--json"}).join(60s), 0) << people();
    EXPECT_EQ(data()["commands"].size(), 111u);
}

TEST_F(ProgramsTest, CallSendsOneCommand) {
    EXPECT_EQ(startHost({"call", "1008", "--config", _config, "--json"}).join(60s), 0) << people();
    EXPECT_EQ(data()["value_width"], 1280);
    EXPECT_EQ(startHost({"call", "1001", _config, "--json"}).join(60s), 0) << people();
    EXPECT_EQ(data()["value_biWidth"], 900);
    EXPECT_EQ(startHost({"call", "1107", "--json"}).join(60s), host::kExitFailed);
    EXPECT_EQ(data()["code"], -4);
    EXPECT_EQ(startHost({"call", "1106", "fast"}).join(60s), host::kExitWrongUsage);
    EXPECT_THAT(people(), HasSubstr("'fast' is not a number"));
}

TEST_F(ProgramsTest, AskSnapShowsTheEchoOfASimulatorThatRuns) {
    auto simulator = startSimulator({"--size", "900x20", "--fps", "10"});
    EXPECT_EQ(startHost({"ask-snap", "--json"}).join(60s), 0) << people();
    EXPECT_EQ(data()["schema"], "dorven-ask-snap/1");
    EXPECT_EQ(data()["command"], 4);
    EXPECT_EQ(data()["value32"], 1);
    EXPECT_EQ(data()["first"], 2);
    EXPECT_EQ(data()["second"], 3);
    EXPECT_EQ(data()["echoed"], true);
    EXPECT_GT(data()["round_trip_us"], 0.0);
    EXPECT_EQ(startHost({"ask-snap"}).join(60s), 0);
    EXPECT_THAT(text("out.txt"), HasSubstr("asked       command 4, value32 1, first 2, second 3\n"
                                           "answer      command 4, value32 1, first 2, second 3\n"
                                           "            the request as it was\n"));
    simulator.kill();
}

TEST_F(ProgramsTest, AskSnapEndsWithThreeWhenNobodyAnswers) {
    EXPECT_EQ(startHost({"ask-snap", "--timeout", "0.3"}).join(60s), host::kExitNoImage);
    EXPECT_EQ(people(),
              "dorven-host: no answer from a simulator: none stands on the link; start dorven-simulator, without "
              "--no-ask\n");
    auto simulator = startSimulator({"--size", "900x20", "--fps", "10", "--no-ask"});
    EXPECT_EQ(startHost({"ask-snap", "--timeout", "0.5"}).join(60s), host::kExitNoImage);
    simulator.kill();
}

TEST_F(ProgramsTest, AskSnapFailsWhileAHostHasTheCameraOpen) {
    auto grab = startGrab({"--timeout", "60"});
    while (!NamedClaim::isTaken(image_road::finishedOf(image_road::kCameraAsks))) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(test::ChildProcess::program("dorven-host", {"ask-snap"}).join(60s), host::kExitFailed);
    grab.kill();
}

// A simulator that knows no pictures.
class RefusingSimulator : public kest::dorven::DorVenImagesComm {
public:
    kest::dorven::ImagesMessage handle(const kest::dorven::ImagesMessage& request) override {
        return {0, request.value32, request.first, request.second};
    }
};

TEST_F(ProgramsTest, AskSnapFailsWhenSomethingElseThanTheRequestComesBack) {
    const auto channel = std::make_shared<RefusingSimulator>();
    const auto messenger = kest::dorven::IPMessenger::create(channel);
    EXPECT_EQ(startHost({"ask-snap", "--json"}).join(60s), host::kExitFailed);
    EXPECT_EQ(data()["command"], 0);
    EXPECT_EQ(data()["echoed"], false);
    EXPECT_EQ(startHost({"ask-snap"}).join(60s), host::kExitFailed);
    EXPECT_THAT(text("out.txt"), HasSubstr("the simulator does not know the command\n"));
}

TEST_F(ProgramsTest, ProgramEndsWithTheDocumentedExitCodes) {
    const auto exitCode = [](const test::Arguments& arguments) {
        return test::ChildProcess::program("dorven-host", arguments).join(60s);
    };
    EXPECT_EQ(exitCode({"info"}), 0);
    EXPECT_EQ(exitCode({"--version"}), 0);
    EXPECT_EQ(exitCode({"info", "--plugin", _config}), 1);
    EXPECT_EQ(exitCode({}), 2);
    EXPECT_EQ(exitCode({"grab", "--bogus"}), 2);
    EXPECT_EQ(exitCode({"grab", "--timeout", "0.2"}), 3);
}

TEST_F(ProgramsTest, PluginInAForeignFolderIsLoadedByItsAbsolutePath) {
    const std::filesystem::path plugin = host::defaultPluginPath();
    const std::filesystem::path foreign = _folder.path("foreign folder/x");
    for (const auto& file : std::filesystem::directory_iterator(plugin.parent_path())) {
        if (file.path().extension() == plugin.extension())
            std::filesystem::copy_file(file.path(), foreign.parent_path() / file.path().filename());
    }
    const std::string path = (foreign.parent_path() / plugin.filename()).string();
    EXPECT_EQ(startHost({"info", "--plugin", path, "--json"}).join(60s), 0) << people();
    EXPECT_EQ(data()["module"], path);
    EXPECT_EQ(test::ChildProcess::program("dorven-host", {"info", "--plugin", path}).join(60s), 0);
}

}  // namespace
