// Links that are stuck, and how they recover: real ends and real waits, so each test takes seconds.
#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "msharedmem.h"
#include "object_names.h"
#include "test_channel.h"

namespace {

using namespace std::chrono_literals;
using test::becomesTrue;
using test::IPMessenger;
using test::Payload;
using test::RawPeer;
using test::TestChannel;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

/// docs/wire-format.md says that two living sides talk again within twelve seconds; a busy machine may take longer.
constexpr auto kHealed = 60s;

class MessengerHealing : public testing::Test {
protected:
    void SetUp() override { _channel->request = {1, 2, 3, 4, 5, 6, 7, 8}; }

    static bool askUntilAnswered(IPMessenger& messenger) {
        const auto end = std::chrono::steady_clock::now() + kHealed;
        while (!messenger.send()) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(100ms);
        }
        return true;
    }
    std::string overrun() const {
        return "Assertion failed: 's == 1', file ipc/IPMessageSender, line .+: message fifo " + _ids.asking +
               "_mem overrun";
    }
    // Stores into the header of a fifo that is in use.
    static void damage(const std::string& id, std::size_t field, std::uint64_t value) {
        auto* const memory = static_cast<unsigned char*>(MSharedMem_Link(image_road::memoryOf(id).c_str()));
        ASSERT_NE(memory, nullptr);
        std::atomic_ref(*reinterpret_cast<std::uint64_t*>(memory + field)).store(value);
        MSharedMem_Unlink(memory);
    }

    test::LogRecorder _log{5};
    test::Ids _ids;
    std::shared_ptr<TestChannel> _channel = std::make_shared<TestChannel>(_ids);
};

/// A peer that does exactly what the written rules say: it opens its ends only when a wait has timed out.
class PeerByTheRules {
public:
    explicit PeerByTheRules(const test::Ids& ids) : _peer(ids), _thread([this] { run(); }) {}
    ~PeerByTheRules() {
        _stop = true;
        _peer.receiver->notify();
        _thread.join();
    }
    int departures() const { return _departures; }

private:
    void run() {
        while (!_stop) {
            const int status = _peer.receiver->wait(5.0);
            if (status == -1) {
                if (!_peer.sender->isConnected()) _peer.sender->open();
                if (!_peer.receiver->isConnected()) _peer.receiver->open();
            } else if (status == 0) {
                _peer.receiver->close();
                _peer.sender->close();
            } else if (status == 2) {
                _peer.sender->close();
                ++_departures;
            } else if (status == 1 && _peer.receiver->hasData()) {
                test::FrameHeader header{};
                Payload payload(8);
                _peer.receiver->read(&header, sizeof header);
                _peer.receiver->read(payload.data(), payload.size());
                _peer.send(header, payload);
            }
        }
    }

    RawPeer _peer;
    std::atomic<bool> _stop{false};
    std::atomic<int> _departures{0};
    std::thread _thread;
};

TEST_F(MessengerHealing, PeerThatOpensItsEndsOnTimeoutsAloneIsLeftInPeaceUntilItDoes) {
    const PeerByTheRules peer(_ids.mirrored());
    auto messenger = IPMessenger::create(_channel);
    ASSERT_TRUE(askUntilAnswered(*messenger));
    messenger->close();  // in order
    ASSERT_TRUE(becomesTrue([&] { return peer.departures() == 1; }));
    messenger.reset();
    messenger = IPMessenger::create(_channel);
    EXPECT_TRUE(askUntilAnswered(*messenger));
}

TEST_F(MessengerHealing, PeerThatNumbersItsRequestsAlikeIsAnsweredEachTime) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    for (int request = 1; request <= 3000; ++request) {
        peer.send({1, 0, 7}, Payload(8, 1));
        ASSERT_TRUE(peer.receive()) << request;
    }
}

TEST_F(MessengerHealing, ReaderThatStandsStillMakesEveryFurtherRequestAnOverrunAndTheThirdLaysTheFifoAnew) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    ASSERT_TRUE(peer.meet());
    _log.clear();
    EXPECT_FALSE(messenger->send());
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_FALSE(messenger->send());
    EXPECT_THAT(_log.errors(), ElementsAre(MatchesRegex(overrun()), MatchesRegex(overrun())));
    EXPECT_TRUE(peer.receiver->isConnected());
    EXPECT_TRUE(peer.receiver->hasData());  // the first one still waits
    _log.clear();
    EXPECT_FALSE(messenger->send());
    EXPECT_THAT(_log.errors(), ElementsAre(MatchesRegex(overrun()), MatchesRegex(overrun())));
    EXPECT_FALSE(peer.receiver->isConnected());
    EXPECT_NE(peer.receiver->wait(0.0), 2);  // the writer was there all the time
    EXPECT_TRUE(peer.receiver->isConnected());
    EXPECT_FALSE(peer.receiver->hasData());  // nothing is tried again
    _log.clear();
    EXPECT_FALSE(messenger->send());  // the next one finds room
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_TRUE(peer.receiver->hasData());
}

TEST_F(MessengerHealing, RequestsThatAreReadButNotAnsweredLeaveTheFifoAsItIs) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    ASSERT_TRUE(peer.meet());
    for (int request = 0; request < 4; ++request) {
        EXPECT_FALSE(messenger->send());
        EXPECT_TRUE(peer.receiver->isConnected()) << request;
        EXPECT_TRUE(peer.receive()) << request;
    }
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(MessengerHealing, AnsweredRequestsDoNotCountWhenLaterOnesAreRefused) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    ASSERT_TRUE(peer.meet());
    for (int request = 0; request < 10; ++request) {
        std::jthread answers([&] {
            if (const auto frame = peer.receive()) peer.send(frame->header, frame->payload);
        });
        EXPECT_TRUE(messenger->send());
    }
    EXPECT_THAT(_log.traces(), Not(Contains(HasSubstr("already opened, linking..."))));
    for (int request = 0; request < 2; ++request) EXPECT_FALSE(messenger->send());
    EXPECT_TRUE(peer.receiver->isConnected());
    EXPECT_TRUE(peer.receiver->hasData());
}

TEST_F(MessengerHealing, DamagedHeaderOfEitherFifoIsRepairedByItsWriter) {
    const auto peer = IPMessenger::create(std::make_shared<TestChannel>(_ids.mirrored()));
    const auto messenger = IPMessenger::create(_channel);
    ASSERT_TRUE(askUntilAnswered(*messenger));
    for (const std::string& id : {_ids.answering, _ids.asking}) {
        for (const std::size_t field : {8u, 24u, 32u}) {
            damage(id, field, 1'000'000'000);
            EXPECT_TRUE(askUntilAnswered(*messenger)) << id << " " << field;
        }
        damage(id, 32, 5);  // a ring too small for any frame
        EXPECT_TRUE(askUntilAnswered(*messenger)) << id;
    }
}

// With such a peer no wait of the messenger times out.
TEST_F(MessengerHealing, HeaderWithoutPayloadIsDroppedAlsoBesideAPeerThatSignalsAllTheTime) {
    const RawPeer peer(_ids.mirrored(), 24, 24);
    const auto channel = std::make_shared<TestChannel>(_ids, 24, 24);
    const auto messenger = IPMessenger::create(channel);
    peer.send({1, 0, 4}, Payload(24, 0x20));
    ASSERT_TRUE(peer.receive());
    const test::FrameHeader alone{1, 0, 5};
    peer.sender->write(&alone, sizeof alone);
    std::optional<test::Frame> answer;
    const auto end = std::chrono::steady_clock::now() + kHealed;
    while (!answer && std::chrono::steady_clock::now() < end) {
        peer.send({1, 0, 6}, Payload(24, 0x30));
        answer = peer.receive(500ms);
    }
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->header.id, 6u);
    EXPECT_EQ(answer->payload, Payload(24, 0x31));
    EXPECT_EQ(channel->executions, 2);
    EXPECT_THAT(_log.errors(), Contains(HasSubstr("of the 40 bytes of a frame and no more come: they are dropped")));
}

TEST_F(MessengerHealing, QuietLinkSeesNoError) {
    const auto peer = IPMessenger::create(std::make_shared<TestChannel>(_ids.mirrored()));
    const auto messenger = IPMessenger::create(_channel);
    ASSERT_TRUE(askUntilAnswered(*messenger));
    ASSERT_TRUE(askUntilAnswered(*peer));
    _log.clear();
    std::this_thread::sleep_for(11s);
    EXPECT_THAT(_log.traces(), Not(Contains(HasSubstr("processError"))));
    EXPECT_THAT(_log.traces(), Contains(MatchesRegex(".*establishedConnection - .* - -1")));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

}  // namespace
