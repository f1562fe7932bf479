// Frames that answer nothing: late answers, those for somebody before, and peers that number all their requests alike.
#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "stepped_messenger.h"

namespace {

using namespace std::chrono_literals;
using test::Frame;
using test::Payload;
using test::RawPeer;
using test::SteppedMessenger;
using test::TestChannel;
using testing::IsEmpty;

constexpr std::uint64_t kForeign = 0xF0;

class MessengerEcho : public testing::Test {
protected:
    MessengerEcho() { _messenger.timeOut(); }  // both ends stand

    // Sends a request that the peer reads. @return Its id.
    std::uint64_t ask() {
        const std::uint64_t id = _messenger.setStep(1);
        _messenger.signal();
        const auto frame = _peer.receive(0ms);
        EXPECT_TRUE(frame && frame->header.id == id);
        return id;
    }
    void askAndHear() {
        _peer.send({1, 0, ask()}, Payload(8, 9));
        _messenger.signal();
        _channel->executions = 0;
    }
    // The messenger's answer to a frame of the peer's.
    std::optional<Frame> answerTo(std::uint64_t id, const Payload& payload = Payload(8, 0x10)) {
        _peer.send({1, 0, id}, payload);
        _messenger.signal();
        return _peer.receive(0ms);
    }
    // Of so many requests with one id, those that are not answered.
    std::vector<int> missedOf(int requests) {
        std::vector<int> missed;
        for (int request = 1; request <= requests; ++request) {
            if (!answerTo(kForeign)) missed.push_back(request);
        }
        return missed;
    }

    test::LogRecorder _log;
    test::Ids _ids;
    std::shared_ptr<TestChannel> _channel = std::make_shared<TestChannel>(_ids);
    RawPeer _peer{_ids.mirrored()};
    SteppedMessenger _messenger{_channel};
};

TEST_F(MessengerEcho, FirstLateAnswerIsAnsweredAndTheSecondOfItsIdIsDropped) {
    const std::uint64_t late = ask();
    ask();
    EXPECT_TRUE(answerTo(late));
    EXPECT_FALSE(answerTo(late));
    EXPECT_FALSE(answerTo(late));
    EXPECT_EQ(_channel->executions, 1);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(MessengerEcho, SixtyFourRequestsAreRemembered) {
    const std::uint64_t oldest = ask();
    const std::uint64_t next = ask();
    for (int request = 2; request <= 64; ++request) ask();
    EXPECT_TRUE(answerTo(next));
    EXPECT_FALSE(answerTo(next));
    EXPECT_TRUE(answerTo(oldest));
    EXPECT_TRUE(answerTo(oldest)) << "taken for a request of the peer's, as it is too old";
}

TEST_F(MessengerEcho, PeerThatNumbersItsRequestsAlikeMissesNone) { EXPECT_THAT(missedOf(3000), IsEmpty()); }

TEST_F(MessengerEcho, PeerThatNumbersItsRequestsAlikeAndAsksWithTheLastAnswerMissesNone) {
    Payload record(8, 0x10);
    for (int request = 1; request <= 3000; ++request) {
        const auto answer = answerTo(kForeign, record);
        ASSERT_TRUE(answer) << request;
        record = answer->payload;
    }
}

TEST_F(MessengerEcho, PeerThatNumbersItsRequestsAlikeMissesNoneAlsoOfOneThatAskedAndWasAnswered) {
    askAndHear();
    Payload record(8, 0x10);
    for (int request = 1; request <= 3000; ++request) {
        const auto answer = answerTo(kForeign, record);
        ASSERT_TRUE(answer) << request;
        record = answer->payload;
    }
}

// The asker before was killed; its answer reaches this one, whose answer to that comes back as it was.
TEST_F(MessengerEcho, AnswerForTheAskerBeforeIsHandledOnce) {
    ask();
    const auto answer = answerTo(kForeign);
    ASSERT_TRUE(answer);
    EXPECT_FALSE(answerTo(kForeign, answer->payload));
    EXPECT_EQ(_channel->executions, 1);
    EXPECT_TRUE(answerTo(kForeign, answer->payload)) << "nothing is on its way any more: it is a request";
}

// Handlers that change each answer keep such a frame going; a thousand rounds take some ten milliseconds.
TEST_F(MessengerEcho, FrameThatGoesToAndFroWhileARequestFindsNoAnswerIsEndedOnce) {
    ask();
    EXPECT_THAT(missedOf(3000), testing::ElementsAre(1001));
}

}  // namespace
