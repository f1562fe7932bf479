// Frames that answer nothing: late answers, answers for an earlier process, and peers that number all requests alike.
#include <algorithm>
#include <array>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "msharedmem.h"
#include "object_names.h"
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
    MessengerEcho() { _messenger.timeOut(); }  // both ends exist

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
    // The messenger's answer to a frame of the peer.
    std::optional<Frame> answerTo(std::uint64_t id, const Payload& payload = Payload(8, 0x10)) {
        _peer.send({1, 0, id}, payload);
        _messenger.signal();
        return _peer.receive(0ms);
    }
    // Sends that many requests with one id; returns those that are not answered.
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

// The first of these looks like a frame that goes back and forth; all later ones are answered.
TEST_F(MessengerEcho, PeerThatNumbersItsRequestsAlikeMissesOneAtMostOfOneThatHasAskedItself) {
    askAndHear();
    std::vector<int> missed;
    Payload record(8, 0x10);
    for (int request = 1; request <= 3000; ++request) {
        if (const auto answer = answerTo(kForeign, record))
            record = answer->payload;
        else
            missed.push_back(request);
    }
    EXPECT_THAT(missed, testing::ElementsAre(2));
    EXPECT_THAT(missedOf(3000), IsEmpty());
}

// The previous asker was killed; its answer reaches this one, whose answer to that returns unchanged.
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

// ---- two messengers, and a frame that neither has asked for

class IdleLink : public testing::Test {
protected:
    // One side asks and is answered; then a foreign frame is put into the other side's fifo.
    void layForeignFrame(const std::shared_ptr<TestChannel>& asker, const std::shared_ptr<TestChannel>& answerer) {
        _answering = test::IPMessenger::create(answerer);
        _asking = test::IPMessenger::create(asker);
        ASSERT_TRUE(test::becomesTrue([&] { return _asking->send(); }));
        asker->executions = answerer->executions = 0;
        void* const memory = MSharedMem_Link(image_road::memoryOf(_ids.answering).c_str());
        ASSERT_TRUE(memory);
        std::array<unsigned char, 24> frame{1};
        frame[8] = kForeign;
        ASSERT_TRUE(MMemFifo_Write(memory, frame.data(), frame.size(), MSharedMem_GetSize(memory)));
        MSharedMem_Unlink(memory);
        MProcessEvent(image_road::eventOf(_ids.answering).c_str()).Notify();
        ASSERT_TRUE(test::becomesTrue([&] { return answerer->executions > 0; }));
        EXPECT_TRUE(test::becomesTrue(
            [&] {
                const int before = asker->executions + answerer->executions;
                std::this_thread::sleep_for(300ms);
                return asker->executions + answerer->executions == before;
            },
            60s))
            << "goes on for ever";
    }

    test::LogRecorder _log;
    test::Ids _ids;
    std::shared_ptr<test::IPMessenger> _answering, _asking;
};

// Like the image channel: the same question always gets the same answer.
class SettledChannel : public TestChannel {
public:
    using TestChannel::TestChannel;
    const void* execute() override {
        ++executions;
        answer = incoming;
        answer[0] = 1;
        return answer.data();
    }
};

TEST_F(IdleLink, ForeignFrameIsHandledTwiceAtMost) {
    const auto asker = std::make_shared<SettledChannel>(_ids.mirrored());
    const auto answerer = std::make_shared<SettledChannel>(_ids);
    layForeignFrame(asker, answerer);
    EXPECT_LE(asker->executions, 2);
    EXPECT_LE(answerer->executions, 2);
}

TEST_F(IdleLink, ForeignFrameThatEachHandlerChangesEndsAfterAThousandRounds) {
    const auto asker = std::make_shared<TestChannel>(_ids.mirrored());
    const auto answerer = std::make_shared<TestChannel>(_ids);
    layForeignFrame(asker, answerer);
    EXPECT_LE(asker->executions, 1000);
}

}  // namespace
