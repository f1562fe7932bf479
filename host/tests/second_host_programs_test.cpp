// Two hosts, or a host and an ask-snap, that want the same camera.
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host_options.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "named_claim.h"
#include "object_look.h"
#include "object_names.h"
#include "programs_fixture.h"

namespace {

using test::Arguments;
using test::ProgramsTest;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

const std::string kCamerasEvent = image_road::finishedOf(image_road::kCameraAsks);
constexpr const char* kBoth =
    "dorven-host: another host has the camera open, or an ask-snap has its link: end that one first";
constexpr const char* kFaultLog = R"({"schema":"dorven-fault-log/1","event":"run","seed":5})"
                                  "\n";
constexpr const char* kInsist = ", or insist with --share\n";

class SecondHostTest : public ProgramsTest {
protected:
    // With its own output files.
    test::ChildProcess startFirst(Arguments arguments) {
        arguments.insert(arguments.begin(), {_folder.path("first_out.txt"), _folder.path("first_err.txt")});
        return {"hostWithOutputs", arguments};
    }
    test::ChildProcess startFirstGrab() { return startFirst({"grab", "--config", _config, "--timeout", "60"}); }
    static void waitForTheEvent() {
        while (!NamedClaim::isTaken(kCamerasEvent)) std::this_thread::sleep_for(1ms);
    }
    Arguments wordsOf(const std::string& command) {
        if (command == "snap") return {"snap", _folder.path("snap.png"), "--config", _config, "--timeout", "0.3"};
        if (command == "grab") return {"grab", "--config", _config, "--timeout", "0.3"};
        return {
            "verify", "--config", _config, "--timeout", "0.3", "--fault-log", _folder.file("faults.jsonl", kFaultLog)};
    }
};

class SecondCommandTest : public SecondHostTest, public testing::WithParamInterface<const char*> {};

TEST_P(SecondCommandTest, IsToldThatAnotherHostHasTheCameraAndEndsWithOne) {
    auto first = startFirstGrab();
    waitForTheEvent();
    EXPECT_EQ(startHost(wordsOf(GetParam())).join(60s), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr(std::string(kBoth) + kInsist));
    first.kill();
}

TEST_P(SecondCommandTest, OpensTheCameraAllTheSameWhenItInsists) {
    NamedClaim first(kCamerasEvent);
    ASSERT_TRUE(first.claim());
    Arguments words = wordsOf(GetParam());
    words.emplace_back("--share");
    EXPECT_EQ(startHost(words).join(60s), host::kExitNoImage);
    EXPECT_THAT(people(), Not(HasSubstr("another host has")));
}

INSTANTIATE_TEST_SUITE_P(Commands, SecondCommandTest, testing::Values("grab", "verify", "snap"),
                         [](const auto& of) { return std::string(of.param); });

TEST_F(SecondHostTest, GrabThatIsRefusedPrintsItsObject) {
    NamedClaim first(kCamerasEvent);
    ASSERT_TRUE(first.claim());
    EXPECT_EQ(startGrab({"--count", "5"}).join(60s), host::kExitFailed);
    EXPECT_EQ(data()["end"], "failed");
    EXPECT_EQ(data()["images"], 0);
}

TEST_F(SecondHostTest, GrabWhileAskSnapAsksIsToldOfBoth) {
    auto first = startFirst({"ask-snap", "--timeout", "60"});
    waitForTheEvent();
    EXPECT_EQ(startGrab({"--timeout", "0.3"}).join(60s), host::kExitFailed);
    EXPECT_THAT(people(), HasSubstr(std::string(kBoth) + kInsist));
    first.kill();
}

TEST_F(SecondHostTest, AskSnapWhileAHostHasTheCameraIsToldOfBoth) {
    auto first = startFirstGrab();
    waitForTheEvent();
    EXPECT_EQ(startHost({"ask-snap"}).join(60s), host::kExitFailed);
    EXPECT_EQ(people(), std::string(kBoth) + "\n");
    first.kill();
}

// Its mark is then still in the ring.
TEST_F(SecondHostTest, GrabWorksAtOnceAfterTheFirstHostWasKilled) {
    auto simulator =
        startSimulator({"--config", _config, "--size", "900x40", "--fps", "100", "--reader-timeout", "0.5"});
    auto first = startFirstGrab();
    void* memory = nullptr;
    while (!memory || MMemLineFifo_IsReaderAttached(memory) == 0) {
        std::this_thread::sleep_for(1ms);
        if (!memory && platform_lookAtObject(image_road::kImagesMemory, 0).kind == ObjectSight::Kind::memory)
            memory = MSharedMem_Link(image_road::kImagesMemory);
    }
    first.kill();
    EXPECT_NE(MMemLineFifo_IsReaderAttached(memory), 0);
    MSharedMem_Unlink(memory);
    EXPECT_EQ(startGrab({"--count", "5"}).join(60s), host::kExitDone) << people();
    EXPECT_THAT(people(), Not(HasSubstr("another host has")));
    simulator.kill();
}

TEST_F(SecondHostTest, BenchHasObjectNamesOfItsOwnOrIsToldOfBoth) {
    auto first = startFirst({"ask-snap", "--timeout", "60"});
    waitForTheEvent();
    const int exitCode = startHost({"bench", "--seconds", "0.2", "--size", "320x240", "--fps", "50"}).join(60s);
    if (platform_lookAtObjectFolder().has) {
        EXPECT_EQ(exitCode, host::kExitDone) << people();
    } else {
        EXPECT_EQ(exitCode, host::kExitFailed);
        EXPECT_EQ(people(), std::string(kBoth) + "\n");
    }
    first.kill();
}

}  // namespace
