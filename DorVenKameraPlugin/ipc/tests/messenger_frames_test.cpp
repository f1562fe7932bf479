// Frames that arrive in part: a header without its payload, and a reader between the two.
#include <functional>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "msharedmem.h"
#include "object_names.h"
#include "stepped_messenger.h"

namespace {

using namespace std::chrono_literals;
using test::FrameHeader;
using test::Payload;
using test::RawPeer;
using test::SteppedMessenger;
using test::TestChannel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

class MessengerFrames : public testing::Test {
protected:
    MessengerFrames() { _messenger.timeOut(); }  // both ends exist

    void write(const FrameHeader& header) { _peer.sender->write(&header, sizeof header); }
    void write(const Payload& payload) { _peer.sender->write(payload.data(), payload.size()); }
    void expectAnswer(std::uint64_t id, std::uint8_t byte) {
        const auto answer = _peer.receive(0ms);
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->header.id, id);
        EXPECT_EQ(answer->payload, Payload(8, byte));
    }
    std::vector<std::string> takeErrors() {
        const auto errors = _log.errors();
        _log.clear();
        return errors;
    }
    // Number of bytes that wait for the peer.
    std::size_t waitingForPeer() {
        void* const memory = MSharedMem_Link(image_road::memoryOf(_ids.asking).c_str());
        const std::size_t bytes = MMemFifo_GetUsed(memory);
        MSharedMem_Unlink(memory);
        return bytes;
    }
    std::string overrunOf(const std::string& id) const {
        return "Assertion failed: 's == 1', file ipc/IPMessageSender, line .+: message fifo " + id + "_mem overrun";
    }
    std::string dropped(std::size_t bytes) const {
        return "kest::dorven::IPMessenger::dropPart\\(\\) : message fifo " + _ids.answering + "_mem holds " +
               std::to_string(bytes) + " of the 24 bytes of a frame and no more come: they are dropped";
    }

    test::LogRecorder _log{5};
    test::Ids _ids;
    std::shared_ptr<TestChannel> _channel = std::make_shared<TestChannel>(_ids);
    RawPeer _peer{_ids.mirrored()};
    SteppedMessenger _messenger{_channel};
};

// ---- the reading side

TEST_F(MessengerFrames, RequestIsNotAnsweredWithWhatAnotherOneAsked) {
    _channel->onIncoming = [this] {
        if (_channel->executions > 0) return;
        // The peer has given up and asks again, while this side has read the first header but not its payload.
        write(FrameHeader{1, 0, 12});
        write(Payload(8, 0x20));  // finds no room
    };
    write(FrameHeader{1, 0, 11});
    write(Payload(8, 0x10));
    _messenger.signal();
    expectAnswer(11, 0x11);
    EXPECT_THAT(takeErrors(), ElementsAre(MatchesRegex(overrunOf(_ids.answering))));
    _messenger.signal();
    EXPECT_FALSE(_peer.receive(0ms)) << "an answer to the second request, made from the first one's payload";
    EXPECT_EQ(_channel->executions, 1);
}

TEST_F(MessengerFrames, HeaderWhosePayloadIsStillToComeIsReadWithIt) {
    write(FrameHeader{1, 0, 11});
    _messenger.signal();
    EXPECT_EQ(_channel->executions, 0);
    write(Payload(8, 0x10));
    _messenger.signal();
    expectAnswer(11, 0x11);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(MessengerFrames, HeaderThatIsStillAloneAtTheNextTimeoutIsDroppedWithOneEntry) {
    write(FrameHeader{1, 0, 11});
    _messenger.signal();
    EXPECT_THAT(_log.errors(), IsEmpty());
    _messenger.timeOut();
    EXPECT_THAT(takeErrors(), ElementsAre(MatchesRegex(dropped(16))));
    _messenger.timeOut();
    EXPECT_THAT(_log.errors(), IsEmpty());
    write(FrameHeader{1, 0, 12});
    write(Payload(8, 0x20));
    _messenger.signal();
    expectAnswer(12, 0x21);
}

TEST_F(MessengerFrames, HeaderThatATimeoutMeetsFirstHasUntilTheNextOne) {
    write(FrameHeader{1, 0, 11});
    _messenger.timeOut();
    EXPECT_THAT(_log.errors(), IsEmpty());
    write(Payload(8, 0x10));
    _messenger.signal();
    EXPECT_TRUE(_peer.receive(0ms));
}

TEST_F(MessengerFrames, AnswerIsNotTakenWithoutItsPayload) {
    _channel->response.assign(8, 0x77);
    const std::uint64_t id = _messenger.setStep(1);
    _messenger.signal();
    ASSERT_TRUE(_peer.receive(0ms));
    write(FrameHeader{1, 0, id});
    _messenger.signal();
    EXPECT_EQ(_messenger.last().id, 0u) << "completed without an answer";
    write(Payload(8, 0x10));
    _messenger.signal();
    EXPECT_EQ(_messenger.last().id, id);
    EXPECT_EQ(_channel->response, Payload(8, 0x10));
}

TEST_F(MessengerFrames, RequestWhoseFifoIsLaidAnewBetweenHeaderAndPayloadIsNotAnswered) {
    _channel->onIncoming = [this] { _peer.sender->recreate(); };
    _channel->incoming.assign(8, 0x66);
    _peer.send({1, 0, 11}, Payload(8, 0x10));
    _messenger.signal();
    EXPECT_EQ(_channel->executions, 0) << "the handler ran on the request before";
    EXPECT_EQ(waitingForPeer(), 0u);
    _channel->onIncoming = {};
    _messenger.timeOut();  // attaches again
    _peer.send({1, 0, 12}, Payload(8, 0x20));
    _messenger.signal();
    const auto answer = _peer.receive(0ms);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->payload, Payload(8, 0x21));
}

TEST_F(MessengerFrames, AnswerWhoseFifoIsLaidAnewBetweenHeaderAndPayloadIsNoSuccess) {
    _channel->onResponse = [this] { _peer.sender->recreate(); };
    _channel->response.assign(8, 0x66);
    const std::uint64_t id = _messenger.setStep(1);
    _messenger.signal();
    ASSERT_TRUE(_peer.receive(0ms));
    _peer.send({1, 0, id}, Payload(8, 0x10));
    _messenger.signal();
    EXPECT_NE(_messenger.last().id, id) << "the answer before is given as this one's";
    EXPECT_EQ(_channel->response, Payload(8, 0x66));
}

TEST_F(MessengerFrames, FrameOfAnotherReaderSinceTheHeaderIsNotTaken) {
    std::shared_ptr<test::IPMessageReceiver> other;
    _channel->onIncoming = [&] {
        if (other) return;
        _peer.sender->recreate();
        other = test::IPMessageReceiver::create(_ids.answering, 24);
        write(FrameHeader{1, 0, 12});
        write(Payload(8, 0x20));
    };
    _peer.send({1, 0, 11}, Payload(8, 0x10));
    _messenger.signal();
    EXPECT_EQ(_channel->executions, 0);
    EXPECT_EQ(other->waiting(), 24u);
}

TEST_F(MessengerFrames, DamagedFifoRunsNoHandlerAndPutsNothingOnTheWire) {
    for (const std::size_t field : {8u, 24u, 32u}) {
        _peer.sender->recreate();
        _messenger.timeOut();
        _peer.send({1, 0, 11}, Payload(8, 0x10));
        void* const memory = MSharedMem_Link(image_road::memoryOf(_ids.answering).c_str());
        const std::uint64_t nonsense = 1'000'000'000;
        std::memcpy(static_cast<char*>(memory) + field, &nonsense, sizeof nonsense);
        MSharedMem_Unlink(memory);
        _messenger.signal();
        EXPECT_EQ(_channel->executions, 0) << field;
        EXPECT_EQ(waitingForPeer(), 0u) << field;
    }
}

TEST_F(MessengerFrames, IdsThatNoMessageHasAreNeitherHandledNorAnswered) {
    _messenger.setStep(1);
    _messenger.signal();
    ASSERT_TRUE(_peer.receive(0ms));
    for (const std::uint64_t id : {0u, 1u}) {
        _peer.send({1, 0, id}, Payload(8, 0x10));
        _messenger.signal();
        EXPECT_EQ(_channel->executions, 0) << id;
        EXPECT_FALSE(_peer.receive(0ms)) << id;
        EXPECT_THAT(takeErrors(), ElementsAre(HasSubstr("a frame with the id " + std::to_string(id))));
    }
}

// ---- the writing side

TEST_F(MessengerFrames, FrameThatFitsInPartIsNotWrittenAtAllAndEachPieceIsReported) {
    _messenger.setStep(1);
    _messenger.signal();
    EXPECT_EQ(_peer.receiver->wait(0.0), 1);
    FrameHeader first{};
    _peer.receiver->read(&first, sizeof first);  // the peer is between its two reads
    EXPECT_EQ(_peer.receiver->wait(0.0), -1);
    _messenger.setStep(1);
    _messenger.signal();
    EXPECT_THAT(takeErrors(), ElementsAre(MatchesRegex(overrunOf(_ids.asking)), MatchesRegex(overrunOf(_ids.asking))));
    EXPECT_EQ(waitingForPeer(), 8u) << "the first payload alone";
    EXPECT_EQ(_peer.receiver->wait(0.0), 1) << "signalled all the same";
    _messenger.signal();
    EXPECT_THAT(_log.errors(), IsEmpty()) << "the refused request was sent again";
}

TEST_F(MessengerFrames, AnswerThatFitsInPartIsNotWrittenAtAll) {
    write(FrameHeader{1, 0, 11});
    write(Payload(8, 0x10));
    _messenger.signal();
    ASSERT_EQ(_peer.receiver->wait(0.0), 1);
    FrameHeader first{};
    _peer.receiver->read(&first, sizeof first);
    write(FrameHeader{1, 0, 12});
    write(Payload(8, 0x20));
    _messenger.signal();
    EXPECT_EQ(_channel->executions, 2);
    EXPECT_EQ(waitingForPeer(), 8u);
    EXPECT_THAT(takeErrors(), ElementsAre(MatchesRegex(overrunOf(_ids.asking)), MatchesRegex(overrunOf(_ids.asking))));
}

// ---- beside a second camera

/// A sender that runs a function between its writes.
class PausingSender : public test::IPMessageSender {
public:
    PausingSender(const std::string& id, std::size_t size)
        : IPMessageSender(id, size, std::make_shared<MProcessEvent>(nullptr)) {
        open();
    }
    void write(const void* bytes, const std::size_t& size) override {
        IPMessageSender::write(bytes, size);
        if (afterWrite) std::exchange(afterWrite, {})();
    }
    std::function<void()> afterWrite;
};

TEST(MessageFrames, PayloadIsNotWrittenIntoAFifoThatAnotherSenderHasLaidSinceTheHeader) {
    test::LogRecorder log;
    const std::string id = test::uniqueName("frames");
    PausingSender sender(id, 24);
    const auto other = test::IPMessageSender::create(id, 24);
    const auto receiver = test::IPMessageReceiver::create(id, 24);
    const Payload payload(8, 1);
    FrameHeader header{1, 0, 11};
    for (int round = 0; round < 30; ++round) {  // the header ends everywhere in the ring of 25 bytes, at its end, too
        sender.afterWrite = [&] { other->recreate(); };
        sender.writeFrame(header, payload.data(), payload.size());
        receiver->wait(0.0);
        EXPECT_EQ(receiver->waiting(), 0u) << round;
        receiver->drop();
        for (int shift = 0; shift < round; ++shift) {
            sender.write("x", 1);
            receiver->drop();
        }
        sender.writeFrame(header, payload.data(), payload.size());
        EXPECT_EQ(receiver->waiting(), 24u) << round;
        receiver->drop();
    }
}

TEST(MessageFrames, PayloadFollowsAHeaderThatWasReadAtOnce) {
    const std::string id = test::uniqueName("frames");
    PausingSender sender(id, 24);
    const auto receiver = test::IPMessageReceiver::create(id, 24);
    const Payload payload(8, 1);
    FrameHeader header{1, 0, 11};
    for (int round = 0; round < 30; ++round) {
        sender.afterWrite = [&] { receiver->read(&header, sizeof header); };
        sender.writeFrame(header, payload.data(), payload.size());
        EXPECT_EQ(receiver->waiting(), 8u) << round;
        receiver->drop();
    }
}

TEST_F(MessengerFrames, FirstQuestionAfterAnotherCameraHasClosedIsAnswered) {
    test::IPMessageSender::create(_ids.asking, 24)->close();  // takes the mark that both share
    _peer.send({1, 0, 11}, Payload(8, 0x10));
    _messenger.signal();
    _peer.receiver->wait(0.0);
    EXPECT_TRUE(_peer.receive(0ms) || _peer.receive(100ms));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

}  // namespace
