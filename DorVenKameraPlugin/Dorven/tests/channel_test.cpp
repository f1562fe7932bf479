// The channel between image source and simulator, request by request, and both views of it on one link.
#include <bit>
#include <cstring>
#include <future>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenImagesComm.h"
#include "TeskImages.h"
#include "TeskImagesComm.h"
#include "log_recorder.h"
#include "mmemfifo.h"
#include "msharedmem.h"
#include "object_names.h"
#include "temporary_folder.h"
#include "test_channel.h"

namespace {

using namespace std::chrono_literals;
using kest::dorven::DorVenImagesComm;
using kest::dorven::ImagesMessage;
using kest::dorven::IPMessenger;
using kest::dorven::TeskImages;
using kest::dorven::TeskImagesComm;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

constexpr std::uint64_t k5Point2 = 0x4014CCCCCCCCCCCD;

/// All four fields, to compare.
std::tuple<std::uint32_t, std::uint32_t, std::uint64_t, std::uint64_t> fields(const ImagesMessage& message) {
    return {message.command, message.value32, message.first, message.second};
}

#define EXPECT_MESSAGE(found, ...) EXPECT_EQ(fields(found), fields(ImagesMessage __VA_ARGS__))

// ---- parameters

TEST(Channels, MirrorEachOther) {
    TeskImagesComm host(nullptr);
    DorVenImagesComm simulator;
    EXPECT_EQ(host.requestId(), image_road::kCameraAsks);
    EXPECT_EQ(host.responseId(), image_road::kSimulatorAsks);
    EXPECT_EQ(simulator.requestId(), image_road::kSimulatorAsks);
    EXPECT_EQ(simulator.responseId(), image_road::kCameraAsks);
    for (DorVenImagesComm* const channel : {static_cast<DorVenImagesComm*>(&host), &simulator}) {
        EXPECT_EQ(channel->requestSize(), 24u);
        EXPECT_EQ(channel->responseSize(), 24u);
        EXPECT_EQ(channel->requestId(), channel->requestId());
    }
}

TEST(Channels, HaveARecordForEachUseWhichStartAsZero) {
    TeskImagesComm channel(nullptr);
    const std::vector<const void*> records{channel.requestData(), channel.responseData(), channel.incomingData()};
    EXPECT_NE(records[0], records[1]);
    EXPECT_NE(records[1], records[2]);
    EXPECT_NE(records[0], records[2]);
    EXPECT_THAT(records, ElementsAre(channel.requestData(), channel.responseData(), channel.incomingData()));
    for (const void* const record : records) {
        ImagesMessage message;
        std::memcpy(&message, record, sizeof message);
        EXPECT_MESSAGE(message, {0, 0, 0, 0});
    }
}

TEST(Channels, AnswerStaysInARecordOfItsOwn) {
    test::LogRecorder log;
    DorVenImagesComm channel;
    const ImagesMessage request{1, 2, 3, 4};
    std::memcpy(channel.incomingData(), &request, sizeof request);
    const void* const answer = channel.execute();
    EXPECT_NE(answer, channel.incomingData());
    EXPECT_NE(answer, channel.requestData());
    EXPECT_NE(answer, channel.responseData());
    EXPECT_EQ(channel.execute(), answer);
    EXPECT_MESSAGE(*static_cast<const ImagesMessage*>(answer), {0, 2, 3, 4});
}

// ---- the image source's answers

class HostChannel : public testing::Test {
protected:
    ImagesMessage handle(const ImagesMessage& request) {
        return TeskImagesComm::create(_source.get())->handle(request);
    }

    test::LogRecorder _log;
    std::shared_ptr<TeskImages> _source = TeskImages::create(nullptr);
};

TEST_F(HostChannel, SizeIsWidthAndHeight) {
    EXPECT_MESSAGE(handle({1, 9, 5, 6}), {1, 9, 1280, 1024});
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::TeskImages::imageSize"));
}

TEST_F(HostChannel, PixelSizeIsTwoDoublesBitForBit) {
    EXPECT_MESSAGE(handle({2, 9, 5, 6}), {2, 9, k5Point2, k5Point2});
    EXPECT_EQ(std::bit_cast<double>(k5Point2), 5.2);
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::TeskImages::pixelSize"));
}

TEST_F(HostChannel, FormatIsBytesPerPixelAndLeavesTheRestAsAsked) {
    EXPECT_MESSAGE(handle({3, 7, 11, 12}), {3, 1, 11, 12});
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::TeskImages::imageFormat"));
}

TEST_F(HostChannel, AnythingElseFailsSilentlyAndComesBackAsAsked) {
    for (const std::uint32_t command : {0u, 4u, 5u, 0xFFFFFFFFu}) {
        _log.clear();
        EXPECT_MESSAGE(handle({command, 7, 8, 9}), {0, 7, 8, 9});
        EXPECT_THAT(_log.entries(), IsEmpty());
    }
}

TEST_F(HostChannel, AnswersFollowTheConfiguration) {
    test::TemporaryFolder folder;
    _source.reset();
    _source = TeskImages::create(folder.file("x.ini", "[image]\nbytes_per_pixel=2\nimage_size_x=640\n").c_str());
    EXPECT_MESSAGE(handle({3, 0, 0, 0}), {3, 2, 0, 0});
    EXPECT_MESSAGE(handle({1, 0, 0, 0}), {1, 0, 640, 1024});
}

TEST(HostChannelWithoutSource, ReportsAndFails) {
    test::LogRecorder log;
    const auto channel = TeskImagesComm::create(nullptr);
    for (const std::uint32_t command : {1u, 2u, 3u, 4u}) {
        log.clear();
        EXPECT_MESSAGE(channel->handle({command, 7, 8, 9}), {0, 7, 8, 9});
        EXPECT_THAT(log.errors(), ElementsAre(MatchesRegex("Assertion failed: '_plugin', file Dorven/TeskImagesComm, "
                                                           "line .+: invalid plugin")));
    }
}

TEST(HostChannelWithPoorSource, FailsWhereAListIsTooShort) {
    struct PoorSource : TeskImages {
        std::vector<std::uint64_t> imageSize() override { return {1}; }
        std::vector<double> pixelSize() override { return {1.0}; }
        std::vector<std::int32_t> imageFormat() override { return {}; }
    } source;
    const auto channel = TeskImagesComm::create(&source);
    for (const std::uint32_t command : {1u, 2u, 3u}) EXPECT_MESSAGE(channel->handle({command, 7, 8, 9}), {0, 7, 8, 9});
}

// ---- the simulator's answers

TEST(SimulatorChannel, EchoesSnapAndReportsThatItDoesNotSnap) {
    test::LogRecorder log;
    DorVenImagesComm channel;
    EXPECT_MESSAGE(channel.handle({4, 7, 8, 9}), {4, 7, 8, 9});
    EXPECT_THAT(log.traces(), ElementsAre("SNAP"));
    EXPECT_EQ(log.entries(LogSink::trace).at(0).level, 4);
    EXPECT_EQ(log.entries(LogSink::trace).at(0).file, "Dorven/DorVenImagesComm");
    EXPECT_THAT(log.errors(), ElementsAre(MatchesRegex("Assertion failed: 'false', file Dorven/DorVenImagesComm, line "
                                                       ".+: snapping not implemented")));
}

TEST(SimulatorChannel, FailsAnythingElse) {
    test::LogRecorder log;
    DorVenImagesComm channel;
    for (const std::uint32_t command : {0u, 1u, 2u, 3u, 5u, 0xFFFFFFFFu}) {
        log.clear();
        EXPECT_MESSAGE(channel.handle({command, 7, 8, 9}), {0, 7, 8, 9});
        EXPECT_THAT(log.traces(), ElementsAre("FAILED"));
        EXPECT_EQ(log.entries(LogSink::trace).at(0).level, 4);
        EXPECT_THAT(log.errors(), IsEmpty());
    }
}

// ---- asking

TEST(AskingChannel, WithoutMessengerAnswersZero) {
    DorVenImagesComm channel;
    EXPECT_MESSAGE(channel.ask({1, 2, 3, 4}), {0, 0, 0, 0});
}

TEST(AskingChannel, WhoseMessengerIsGoneAnswersZero) {
    const auto channel = std::make_shared<DorVenImagesComm>();
    auto messenger = IPMessenger::create(channel);
    EXPECT_EQ(messenger.use_count(), 1);
    messenger.reset();
    EXPECT_MESSAGE(channel->ask({1, 2, 3, 4}), {0, 0, 0, 0});
}

TEST(AskingChannel, ThatNobodyAnswersAnswersZeroAndLetsGoOfTheMessenger) {
    const auto channel = std::make_shared<DorVenImagesComm>();
    const auto messenger = IPMessenger::create(channel);
    EXPECT_MESSAGE(channel->ask({1, 2, 3, 4}), {0, 0, 0, 0});
    EXPECT_EQ(messenger.use_count(), 1);
}

class Link : public testing::Test {
protected:
    void start() {
        _source = TeskImages::create(nullptr);
        _messenger = test::PatientMessenger::create(_simulator);
    }

    test::LogRecorder _log;
    std::shared_ptr<TeskImages> _source;
    std::shared_ptr<DorVenImagesComm> _simulator = std::make_shared<DorVenImagesComm>();
    std::shared_ptr<IPMessenger> _messenger;
};

TEST_F(Link, SimulatorGetsAllThreeAnswers) {
    start();
    EXPECT_MESSAGE(_simulator->ask({1, 9, 0, 0}), {1, 9, 1280, 1024});
    EXPECT_MESSAGE(_simulator->ask({2, 0, 0, 0}), {2, 0, k5Point2, k5Point2});
    EXPECT_MESSAGE(_simulator->ask({3, 0, 11, 12}), {3, 1, 11, 12});
    EXPECT_MESSAGE(_simulator->ask({4, 1, 2, 3}), {0, 1, 2, 3});
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(Link, AnswerStaysInTheResponseRecordToo) {
    start();
    _simulator->ask({3, 0, 11, 12});
    ImagesMessage response;
    std::memcpy(&response, _simulator->responseData(), sizeof response);
    EXPECT_MESSAGE(response, {3, 1, 11, 12});
}

TEST_F(Link, AnsweredRequestIsTracedByTheSourceOnItsMessengersThread) {
    start();
    _simulator->ask({3, 0, 0, 0});
    _log.clear();
    _simulator->ask({1, 0, 0, 0});
    int lines = 0;
    const unsigned long long own = [&] {
        _source->frameRate();
        return _log.entries(LogSink::trace).back().thread;
    }();
    for (const test::LogEntry& entry : _log.entries(LogSink::trace)) {
        if (entry.text != "kest::dorven::TeskImages::imageSize") continue;
        EXPECT_NE(entry.thread, own);
        ++lines;
    }
    EXPECT_EQ(lines, 1);
}

TEST_F(Link, SourceAsksTheSimulatorForASnapAndIsEchoed) {
    const auto host = TeskImagesComm::create(nullptr);
    const auto hostMessenger = test::PatientMessenger::create(host);
    _messenger = IPMessenger::create(_simulator);
    EXPECT_MESSAGE(host->ask({4, 7, 8, 9}), {4, 7, 8, 9});
    EXPECT_THAT(_log.traces(), Contains("SNAP"));
    EXPECT_MESSAGE(host->ask({1, 7, 8, 9}), {0, 7, 8, 9});
}

TEST_F(Link, MemoriesHoldOneMessageEach) {
    start();
    _simulator->ask({1, 0, 0, 0});
    for (const std::string id : {image_road::kCameraAsks, image_road::kSimulatorAsks}) {
        void* const memory = MSharedMem_Link(image_road::memoryOf(id).c_str());
        EXPECT_EQ(MSharedMem_GetSize(memory), 105u);
        EXPECT_EQ(MMemFifo_GetFree(memory), 40u);
        MSharedMem_Unlink(memory);
    }
}

TEST_F(Link, SourceLeavesNothingBehind) {
    start();
    _simulator->ask({1, 0, 0, 0});
    _messenger.reset();
    _source.reset();
    for (const std::string id : {image_road::kCameraAsks, image_road::kSimulatorAsks}) {
        EXPECT_EQ(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, image_road::memoryOf(id).c_str()), nullptr);
        EXPECT_EQ(OpenEventA(EVENT_MODIFY_STATE, FALSE, image_road::eventOf(id).c_str()), nullptr);
        EXPECT_EQ(OpenEventA(EVENT_MODIFY_STATE, FALSE, image_road::finishedOf(id).c_str()), nullptr);
    }
}

TEST_F(Link, SourceMayBeAskedWhileItIsBuilt) {
    test::TemporaryFolder folder;
    const std::string ini = folder.file("x.ini", "[image]\nimage_size_x=640\nbytes_per_pixel=2\n");
    std::atomic<bool> stop{false};
    std::atomic<bool> enough{false};
    auto asked = std::async(std::launch::async, [&] {
        // Created by hand, because it must be faster than a messenger to see each source from its start.
        const test::RawPeer simulator({image_road::kSimulatorAsks, image_road::kCameraAsks}, sizeof(ImagesMessage),
                                      sizeof(ImagesMessage));
        std::vector<ImagesMessage> answers;
        int whole = 0;
        for (std::uint64_t id = 2; !stop; ++id) {
            test::Payload request(sizeof(ImagesMessage));
            request[0] = id % 2 ? 1 : 3;
            if (simulator.sender->isConnected()) simulator.send({1, 0, id}, request);
            const auto frame = simulator.receive(2ms);
            if (!frame) continue;
            answers.emplace_back();
            std::memcpy(&answers.back(), frame->payload.data(), sizeof(ImagesMessage));
            if (answers.back().command != 0 && ++whole == 50) enough = true;  // otherwise ended mid-frame
        }
        return answers;
    });
    const auto end = std::chrono::steady_clock::now() + 60s;
    for (int i = 0; i < 300 || (!enough && std::chrono::steady_clock::now() < end); ++i) {
        _source = TeskImages::create(ini.c_str());
        std::this_thread::sleep_for(1ms);
        _source.reset();
    }
    stop = true;
    const auto answers = asked.get();
    for (const ImagesMessage& answer : answers) {
        // The values before or after the configuration is applied, never anything else.
        if (answer.command == 1) {
            EXPECT_TRUE(answer.first == 1280 || answer.first == 640) << answer.first;
        }
        if (answer.command == 3) {
            EXPECT_TRUE(answer.value32 == 1 || answer.value32 == 2) << answer.value32;
        }
    }
    EXPECT_TRUE(enough);
}

}  // namespace
