// Image source and simulator as two processes: questions during a grab and across openings, each side killed and
// restarted.
#include <bit>
#include <functional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenImagesComm.h"
#include "DorVenPlugin.h"
#include "TeskImages.h"
#include "log_recorder.h"
#include "named_claim.h"
#include "object_names.h"
#include "received_images.h"
#include "temporary_folder.h"
#include "test_channel.h"

namespace {

using namespace NUV;
using namespace std::chrono_literals;
using kest::dorven::DorVenImagesComm;
using kest::dorven::ImagesMessage;
using kest::dorven::IPMessenger;
using kest::dorven::TeskImages;
using testing::Contains;
using testing::IsEmpty;

/// Both sides must find each other within this time, whatever happened to the previous one.
constexpr auto kFindAgain = 60s;

/// The asking part of a simulator.
class AskingSimulator {
public:
    ImagesMessage ask(std::uint32_t command) { return _channel->ask({command, 0, 11, 12}); }

    /// Asks again and again, with a short pause.
    ImagesMessage askUntilAnswered(std::uint32_t command, std::chrono::milliseconds limit = kFindAgain) {
        const auto end = std::chrono::steady_clock::now() + limit;
        ImagesMessage answer = ask(command);
        while (answer.command == 0 && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(100ms);
            answer = ask(command);
        }
        return answer;
    }

    /// 0 when all three answers are those of a source with its defaults.
    int askAllThree() {
        const ImagesMessage size = askUntilAnswered(1);
        if (size.command != 1 || size.first != 1280 || size.second != 1024) return 1;
        const ImagesMessage pixel = askUntilAnswered(2);
        if (pixel.command != 2 || std::bit_cast<double>(pixel.first) != 5.2 || pixel.second != pixel.first) return 2;
        const ImagesMessage format = askUntilAnswered(3);
        if (format.command != 3 || format.value32 != 1 || format.first != 11 || format.second != 12) return 3;
        return 0;
    }

private:
    std::shared_ptr<DorVenImagesComm> _channel = std::make_shared<DorVenImagesComm>();
    std::shared_ptr<IPMessenger> _messenger = IPMessenger::create(_channel);
};

/// Two events on which a test and its child meet.
struct Meeting {
    Meeting() : Meeting(test::uniqueName("ready"), test::uniqueName("go")) {}
    Meeting(std::string first, std::string second)
        : readyName(std::move(first)), goName(std::move(second)), ready(readyName.c_str()), go(goName.c_str()) {}
    test::Arguments arguments() const { return {readyName, goName}; }

    std::string readyName, goName;
    MProcessEvent ready, go;
};

CHILD_ROLE(asksAllThree) {
    const test::LogRecorder quiet;
    return AskingSimulator().askAllThree();
}

CHILD_ROLE(asksAgainAfterGo) {
    const test::LogRecorder quiet;
    Meeting meeting(arguments.at(0), arguments.at(1));
    AskingSimulator simulator;
    if (simulator.askUntilAnswered(1).first != 1280) return 1;
    meeting.ready.Notify();
    if (meeting.go.Wait(60.0) != 1) return 2;
    return simulator.askUntilAnswered(1).first == 640 ? 0 : 3;
}

CHILD_ROLE(asksForEver) {
    const test::LogRecorder quiet;
    Meeting meeting(arguments.at(0), arguments.at(1));
    AskingSimulator simulator;
    if (const int failed = simulator.askAllThree()) return failed;
    meeting.ready.Notify();
    for (;;) simulator.ask(1);
}

CHILD_ROLE(answersUntilGo) {
    const test::LogRecorder quiet;
    Meeting meeting(arguments.at(0), arguments.at(1));
    const auto source = TeskImages::create(nullptr);
    meeting.ready.Notify();
    return meeting.go.Wait(60.0) == 1 ? 0 : 1;
}

// ---- the plugin in this process, simulators in others

class PluginLink : public testing::Test {
protected:
    void open(const char* path) {
        PluginInterfaceParameter<const char*> parameter(path);
        EXPECT_EQ(_device.call(1001, &parameter, nullptr), kDone);
    }

    test::LogRecorder _log;
    test::TemporaryFolder _folder;
    DorVenPlugin _device{"folder"};
};

TEST_F(PluginLink, SimulatorIsAnsweredWhileThePluginGrabs) {
    open(nullptr);
    test::ReceivedImages received;
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&received, &test::ReceivedImages::callback});
    EXPECT_EQ(_device.call(1005, &callback, nullptr), kDone);
    EXPECT_EQ(_device.call(1002, nullptr, nullptr), kDone);
    test::ChildProcess simulator("asksAllThree");
    EXPECT_EQ(simulator.join(60s), 0);
    EXPECT_EQ(_device.call(1004, nullptr, nullptr), kDone);
    for (const char* const operation : {"imageSize", "pixelSize", "imageFormat"})
        EXPECT_THAT(_log.traces(), Contains(std::string("kest::dorven::TeskImages::") + operation));
}

TEST_F(PluginLink, SimulatorIsAnsweredBeforeAndAfterASecondOpen) {
    open(nullptr);
    Meeting meeting;
    test::ChildProcess simulator("asksAgainAfterGo", meeting.arguments());
    ASSERT_EQ(meeting.ready.Wait(60.0), 1);
    open(_folder.file("x.ini", "[image]\nimage_size_x=640\n").c_str());
    meeting.go.Notify();
    EXPECT_EQ(simulator.join(60s), 0);
}

TEST_F(PluginLink, SimulatorThatCameFirstFindsThePlugin) {
    test::ChildProcess simulator("asksAllThree");
    EXPECT_TRUE(
        test::becomesTrue([] { return NamedClaim::isTaken(image_road::finishedOf(image_road::kSimulatorAsks)); }));
    open(nullptr);
    EXPECT_EQ(simulator.join(60s), 0);
}

TEST_F(PluginLink, SimulatorMayLeaveAndComeBackFiveTimesInARow) {
    open(nullptr);
    for (int life = 0; life < 5; ++life) {
        test::ChildProcess simulator("asksAllThree");
        ASSERT_EQ(simulator.join(60s), 0) << life;
    }
}

TEST_F(PluginLink, SimulatorMayBeKilledWhileItAsksAndIsAnsweredInItsNextLife) {
    open(nullptr);
    for (int life = 0; life < 3; ++life) {
        Meeting meeting;
        test::ChildProcess killed("asksForEver", meeting.arguments());
        ASSERT_EQ(meeting.ready.Wait(60.0), 1) << life;
        std::this_thread::sleep_for(1ms * (7 * life));
        killed.kill();
    }
    test::ChildProcess simulator("asksAllThree");
    EXPECT_EQ(simulator.join(60s), 0);
    open(nullptr);
}

TEST_F(PluginLink, MemoryIsGoneAfterTheSimulatorHasLeft) {
    open(nullptr);
    test::ChildProcess simulator("asksAllThree");
    ASSERT_EQ(simulator.join(60s), 0);
    // The next wait notices it: after five seconds at most.
    EXPECT_TRUE(test::becomesTrue(
        [] {
            const HANDLE memory =
                OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, image_road::memoryOf(image_road::kCameraAsks).c_str());
            if (memory) CloseHandle(memory);
            return memory == nullptr;
        },
        60s));
}

TEST_F(PluginLink, PluginClosesWhileTheSimulatorSends) {
    Meeting meeting;
    test::ChildProcess simulator("asksForEver", meeting.arguments());
    for (int life = 0; life < 3; ++life) {
        auto source = TeskImages::create(nullptr);
        if (life == 0) {
            ASSERT_EQ(meeting.ready.Wait(60.0), 1);
        } else {
            _log.clear();
            ASSERT_TRUE(test::becomesTrue(
                [this] { return testing::Value(_log.traces(), Contains("kest::dorven::TeskImages::imageSize")); },
                kFindAgain))
                << life;
        }
        source.reset();
    }
    simulator.kill();
}

// ---- the simulator in this process, image sources in others

/// Three sources, one after the other: each is asked until it answers, and then ended.
void askThreeSources(const std::function<void(AskingSimulator&, test::ChildProcess&, Meeting&)>& end) {
    test::LogRecorder log;
    AskingSimulator simulator;
    for (int life = 0; life < 3; ++life) {
        SCOPED_TRACE(life);
        Meeting meeting;
        test::ChildProcess host("answersUntilGo", meeting.arguments());
        ASSERT_EQ(meeting.ready.Wait(60.0), 1);
        ASSERT_EQ(simulator.askUntilAnswered(1).first, 1280u);
        end(simulator, host, meeting);
    }
}

TEST(SimulatorLink, FindsTheSourceAgainThatWasKilled) {
    askThreeSources([](AskingSimulator& simulator, test::ChildProcess& host, Meeting&) {
        host.kill();
        const ImagesMessage answer = simulator.ask(1);
        EXPECT_EQ(answer.command, 0u);
        EXPECT_EQ(answer.first, 0u);
    });
}

TEST(SimulatorLink, FindsTheSourceAgainThatLeft) {
    askThreeSources([](AskingSimulator&, test::ChildProcess& host, Meeting& meeting) {
        meeting.go.Notify();
        EXPECT_EQ(host.join(60s), 0);
    });
}

TEST(SimulatorLink, SourceThatLeavesWhileItIsAskedIsFoundAgain) {
    askThreeSources([](AskingSimulator& simulator, test::ChildProcess& host, Meeting& meeting) {
        meeting.go.Notify();
        const auto end = std::chrono::steady_clock::now() + 60s;
        bool running = true;
        for (; running && std::chrono::steady_clock::now() < end; running = host.running()) simulator.ask(1);
        EXPECT_FALSE(running);
    });
}

// ---- both in others

TEST(BothSides, StartedAtOnceTheyFindEachOther) {
    for (int life = 0; life < 5; ++life) {
        Meeting meeting;
        test::ChildProcess host("answersUntilGo", meeting.arguments());
        test::ChildProcess simulator("asksAllThree");
        EXPECT_EQ(simulator.join(60s), 0) << life;
        meeting.go.Notify();
        EXPECT_EQ(host.join(60s), 0) << life;
    }
}

}  // namespace
