// The end of a messenger: closing, destroying, and threads that do not start.
#include <future>
#include <system_error>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "object_names.h"
#include "platform.h"
#include "test_channel.h"

namespace {

using namespace std::chrono_literals;
using test::becomesTrue;
using test::IPMessenger;
using test::Payload;
using test::RawPeer;
using test::secondsOf;
using test::TestChannel;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSubsetOf;
using testing::MatchesRegex;

bool exists(const std::string& name) {
    const HANDLE memory = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str());
    const HANDLE event = OpenEventA(EVENT_MODIFY_STATE, FALSE, name.c_str());
    if (memory) CloseHandle(memory);
    if (event) CloseHandle(event);
    return memory || event;
}

class MessengerClose : public testing::Test {
protected:
    std::string trace(const std::string& function, const std::string& rest) const {
        return "kest::dorven::IPMessenger::" + function + " - " + rest;
    }
    std::vector<std::string> tracesOfLevel(int level) const {
        std::vector<std::string> found;
        for (const test::LogEntry& entry : _log.entries(LogSink::trace)) {
            if (entry.level == level && entry.file == "ipc/IPMessenger") found.push_back(entry.text);
        }
        return found;
    }

    test::Ids _ids;
    std::shared_ptr<TestChannel> _channel = std::make_shared<TestChannel>(_ids);
    test::LogRecorder _log{5};
};

TEST_F(MessengerClose, OnAQuietLinkIsSeenByThePeerWithoutAFrame) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    ASSERT_TRUE(peer.meet());
    ASSERT_EQ(peer.receiver->wait(0.1), -1);
    _log.clear();
    messenger->close();
    EXPECT_THAT(tracesOfLevel(5), Contains(trace("close", _ids.asking)));
    EXPECT_THAT(tracesOfLevel(5), Contains(trace("processClose", _ids.asking)));
    EXPECT_THAT(tracesOfLevel(4), ElementsAre(trace("close", _ids.asking + " - waiting for thread to close"),
                                              trace("close", _ids.asking + " - thread closed")));
    EXPECT_FALSE(peer.receiver->hasData());
    EXPECT_EQ(peer.receiver->wait(0.1), 2);
    EXPECT_FALSE(peer.sender->isConnected());
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(MessengerClose, EndsTheWaitThatTheThreadIsIn) {
    const auto closing = [&] {
        const auto messenger = IPMessenger::create(_channel);
        return secondsOf([&] { messenger->close(); });
    };
    EXPECT_LT(test::quickestOf(8, 1.0, closing), 1.0) << "a wait lasts five seconds";
}

TEST_F(MessengerClose, IsHarmlessASecondTime) {
    auto messenger = IPMessenger::create(_channel);
    messenger->close();
    _log.clear();
    messenger->close();
    EXPECT_THAT(tracesOfLevel(4), IsEmpty());
    messenger.reset();
    EXPECT_THAT(tracesOfLevel(5), Contains("kest::dorven::IPMessenger::~IPMessenger - closing"));
}

TEST_F(MessengerClose, SendAfterItIsRefused) {
    const auto messenger = IPMessenger::create(_channel);
    messenger->close();
    EXPECT_FALSE(messenger->send());
    messenger->close();
}

TEST_F(MessengerClose, LastOwnerThatLetsGoEndsTheThreadAndEveryObject) {
    auto messenger = IPMessenger::create(_channel);
    const std::weak_ptr<IPMessenger> watched = messenger;
    messenger.reset();
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(_channel.use_count(), 1);
    for (const std::string& name : {image_road::memoryOf(_ids.asking), image_road::eventOf(_ids.asking),
                                    image_road::eventOf(_ids.answering), image_road::finishedOf(_ids.asking)}) {
        EXPECT_FALSE(exists(name)) << name;
    }
}

TEST_F(MessengerClose, ThreadThatDoesNotStartIsThrown) {
    const auto refuse = [](std::function<void()>) -> std::shared_ptr<std::thread> {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    };
    EXPECT_THROW(IPMessenger::create(_channel, refuse), std::system_error);
    EXPECT_TRUE(_channel->messenger().expired());
    EXPECT_FALSE(exists(image_road::memoryOf(_ids.asking)));
}

TEST_F(MessengerClose, MissingThreadObjectIsReported) {
    const auto nothing = [](std::function<void()>) { return std::shared_ptr<std::thread>(); };
    EXPECT_NE(IPMessenger::create(_channel, nothing), nullptr);
    EXPECT_THAT(_log.errors(),
                ElementsAre(MatchesRegex("Assertion failed: 'ipm->_thread', file ipc/IPMessenger, line .+: failed "
                                         "to create and start thread: " +
                                         _ids.asking + "," + _ids.answering)));
}

TEST_F(MessengerClose, TwoMessengersOfTheSameIdsCloseOneAfterTheOther) {
    auto first = IPMessenger::create(_channel);
    auto second = IPMessenger::create(std::make_shared<TestChannel>(_ids));
    first.reset();
    second.reset();
    EXPECT_FALSE(exists(_ids.asking + "_finished"));
}

TEST_F(MessengerClose, TwoMessengersOfTheSameIdsCloseAtOnce) {
    for (int round = 0; round < 3; ++round) {
        auto first = IPMessenger::create(_channel);
        auto second = IPMessenger::create(std::make_shared<TestChannel>(_ids));
        auto other = std::async(std::launch::async, [&] { second.reset(); });
        first.reset();
        ASSERT_EQ(other.wait_for(60s), std::future_status::ready);
    }
}

// ---- called by the channel itself, on the messenger's thread

TEST_F(MessengerClose, ChannelMayCloseItsMessenger) {
    const RawPeer peer(_ids.mirrored());
    auto messenger = IPMessenger::create(_channel);
    _channel->onExecute = [&] { messenger->close(); };
    peer.send({1, 0, 5}, Payload(8, 0));
    ASSERT_TRUE(
        becomesTrue([&] { return testing::Value(tracesOfLevel(5), Contains(trace("processClose", _ids.asking))); }));
    EXPECT_EQ(_channel->executions, 1);
    messenger.reset();
    EXPECT_FALSE(exists(_ids.asking + "_finished"));
}

TEST_F(MessengerClose, ChannelMayDestroyItsMessenger) {
    const RawPeer peer(_ids.mirrored());
    auto messenger = IPMessenger::create(_channel);
    const std::weak_ptr<IPMessenger> watched = messenger;
    test::Gate gate;
    std::weak_ptr<TestChannel> channel = _channel;
    _channel->onExecute = [&] {
        gate.pass();
        messenger.reset();
    };
    _channel.reset();  // the messenger's share alone is left
    peer.send({1, 0, 5}, Payload(8, 0));
    ASSERT_TRUE(gate.awaitArrival());
    gate.open();
    ASSERT_TRUE(becomesTrue([&] { return channel.expired(); }));
    EXPECT_TRUE(watched.expired());
    EXPECT_FALSE(peer.receive(100ms));
    EXPECT_FALSE(exists(image_road::finishedOf(_ids.asking)));
}

// ---- again and again

TEST_F(MessengerClose, TwoThousandLivesBesideAPeerThatNeverStops) {
    std::atomic<bool> stop{false};
    std::atomic<int> answers{0};
    std::thread chatter([&] {
        const RawPeer peer(_ids.mirrored());
        for (std::uint64_t id = 2; !stop; ++id) {
            if (!peer.sender->isConnected()) peer.sender->open();
            if (peer.sender->isConnected()) peer.send({1, 0, id}, Payload(8, 1));
            if (peer.receive(1ms)) ++answers;
        }
    });
    for (int life = 0; life < 2000; ++life) {
        auto messenger = IPMessenger::create(_channel);
        if (life % 4 == 0) std::this_thread::sleep_for(1ms);
        messenger.reset();
    }
    stop = true;
    chatter.join();
    EXPECT_GT(answers, 0);
    // If a life ends in the middle of a frame, both ends of a fifo report it, but no messenger does.
    for (const std::string& error : _log.errors())
        EXPECT_THAT(error, testing::Not(testing::HasSubstr("file ipc/IPMessenger,")));
}

}  // namespace
