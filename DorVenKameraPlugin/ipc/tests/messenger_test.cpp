// The messenger with a peer in the same process: what is sent, who is answered, what is traced.
#include <algorithm>
#include <bit>
#include <future>
#include <set>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "msharedmem.h"
#include "object_names.h"
#include "platform.h"
#include "test_channel.h"

namespace {

using namespace std::chrono_literals;
using kest::dorven::nextId;
using test::becomesTrue;
using test::FrameHeader;
using test::IPMessenger;
using test::Payload;
using test::RawPeer;
using test::secondsOf;
using test::TestChannel;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

// Traces of one function that belong to one messenger; a pointer in them is replaced by P.
std::vector<std::string> tracesOf(const test::LogRecorder& log, const std::string& function, const std::string& id) {
    std::vector<std::string> found;
    for (const std::string& text : log.traces()) {
        if (!text.starts_with("kest::dorven::IPMessenger::" + function + " - ")) continue;
        std::vector<std::string> words;
        std::istringstream rest(text);
        for (std::string word; rest >> word;) words.push_back(word);
        if (words.size() > 6 && words[4] == id) words[2] = "P";
        if (std::find(words.begin(), words.end(), id) == words.end()) continue;
        std::string joined = words[0];
        for (std::size_t i = 1; i < words.size(); ++i) joined += " " + words[i];
        found.push_back(joined);
    }
    return found;
}

class MessengerTest : public testing::Test {
protected:
    void SetUp() override { _channel->request = {1, 2, 3, 4, 5, 6, 7, 8}; }

    std::string trace(const std::string& function, const std::string& rest) const {
        return "kest::dorven::IPMessenger::" + function + " - " + rest;
    }

    test::LogRecorder _log{5};
    test::Ids _ids;
    std::shared_ptr<TestChannel> _channel = std::make_shared<TestChannel>(_ids);
};

// ---- making

TEST_F(MessengerTest, MakesItsFourObjectsAndTracesItsFirstStep) {
    const auto messenger = IPMessenger::create(_channel);
    const HANDLE memory = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, image_road::memoryOf(_ids.asking).c_str());
    EXPECT_NE(memory, nullptr);
    CloseHandle(memory);
    for (const std::string& name :
         {image_road::eventOf(_ids.asking), image_road::eventOf(_ids.answering), image_road::finishedOf(_ids.asking)}) {
        const HANDLE event = OpenEventA(EVENT_MODIFY_STATE, FALSE, name.c_str());
        EXPECT_NE(event, nullptr) << name;
        CloseHandle(event);
    }
    EXPECT_THAT(tracesOf(_log, "setStep", _ids.asking),
                ElementsAre(MatchesRegex("kest::dorven::IPMessenger::setStep - " + _ids.asking + " - 0 .+")));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(MessengerTest, IntroducesItselfOnceBeforeItsThreadStartsAndIsHeldByItsOwnerAlone) {
    bool started = false;
    bool startedBefore = true;
    _channel->onSetMessenger = [&] { startedBefore = started; };
    const auto messenger = IPMessenger::create(_channel, [&](std::function<void()> function) {
        started = true;
        return std::make_shared<std::thread>(std::move(function));
    });
    EXPECT_TRUE(started);
    EXPECT_FALSE(startedBefore);
    EXPECT_EQ(_channel->introductions, 1);
    EXPECT_EQ(messenger.use_count(), 1);
    EXPECT_EQ(_channel->messenger().lock(), messenger);
}

TEST_F(MessengerTest, FifosHoldOnePayloadWithItsHeader) {
    const auto channel = std::make_shared<TestChannel>(_ids, 8, 32);
    const RawPeer peer(_ids.mirrored(), 32, 8);
    const auto messenger = IPMessenger::create(channel);
    const auto freeBytes = [](const std::string& name) {
        void* const memory = MSharedMem_Link(name.c_str());
        const std::size_t bytes = MMemFifo_GetFree(memory);
        MSharedMem_Unlink(memory);
        return bytes;
    };
    EXPECT_EQ(freeBytes(image_road::memoryOf(_ids.asking)), 24u);
    EXPECT_EQ(freeBytes(image_road::memoryOf(_ids.answering)), 48u);
    channel->request.assign(8, 9);
    auto sent = std::async(std::launch::async, [&] { return messenger->send(); });
    const auto frame = peer.receive();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->payload, Payload(8, 9));
    peer.send(frame->header, Payload(32, 7));
    EXPECT_TRUE(sent.get());
    EXPECT_EQ(channel->response, Payload(32, 7));
}

TEST_F(MessengerTest, EmptyIdIsReportedAndDoesNotStopIt) {
    test::Ids ids;
    ids.asking = "";
    ids.answering = "b";
    EXPECT_NE(IPMessenger::create(std::make_shared<TestChannel>(ids)), nullptr);
    EXPECT_THAT(_log.errors(),
                ElementsAre(MatchesRegex("Assertion failed: '_comm->requestId\\(\\) != \"\" && _comm->responseId\\(\\) "
                                         "!= \"\"', file ipc/IPMessenger, line .+: empty id provided: '', 'b'")));
}

TEST_F(MessengerTest, EqualIdsAreReportedAfterBothEndsWereMade) {
    _log.clear();
    EXPECT_NE(IPMessenger::create(std::make_shared<TestChannel>(test::Ids{"a", "a"})), nullptr);
    EXPECT_THAT(_log.errors(),
                ElementsAre(MatchesRegex("Assertion failed: '_comm->requestId\\(\\) != _comm->responseId\\(\\)', file "
                                         "ipc/IPMessenger, line .+: same ids for sending fifo and listening fifo "
                                         "provided: 'a' == 'a'")));
    // The receiver found the sender's memory, or it would have said so.
    EXPECT_THAT(_log.traces(), Not(Contains("could not allocate shared mem: a_mem 89(24)")));
}

// ---- asking and answering

TEST_F(MessengerTest, AsksAnotherMessengerAndGetsItsAnswer) {
    const auto peerChannel = std::make_shared<TestChannel>(_ids.mirrored());
    const auto messenger = test::PatientMessenger::create(_channel);
    const auto peer = test::PatientMessenger::create(peerChannel);
    EXPECT_TRUE(messenger->send());
    EXPECT_EQ(peerChannel->executions, 1);
    EXPECT_EQ(peerChannel->incoming, _channel->request);
    EXPECT_EQ(_channel->response, (Payload{2, 3, 4, 5, 6, 7, 8, 9}));
    peerChannel->request.assign(8, 0x40);
    EXPECT_TRUE(peer->send());
    EXPECT_EQ(peerChannel->response, Payload(8, 0x41));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(MessengerTest, RequestIsAHeaderAndThePayload) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = test::PatientMessenger::create(_channel);
    auto sent = std::async(std::launch::async, [&] { return messenger->send(); });
    const auto frame = peer.receive();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->header.step, 1u);
    EXPECT_EQ(frame->header.reserved, 0u);
    EXPECT_GT(frame->header.id, 1u);
    EXPECT_EQ(frame->payload, _channel->request);
    peer.send(frame->header, Payload(8, 0x55));
    EXPECT_TRUE(sent.get());
    EXPECT_EQ(_channel->response, Payload(8, 0x55));
    EXPECT_EQ(_channel->executions, 0);
}

TEST_F(MessengerTest, AnswerThatSaysAnotherStepIsNoSuccess) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    auto sent = std::async(std::launch::async, [&] { return messenger->send(); });
    const auto frame = peer.receive();
    ASSERT_TRUE(frame);
    peer.send({3, 0, frame->header.id}, Payload(8, 0x55));
    EXPECT_FALSE(sent.get());
}

TEST_F(MessengerTest, FrameOfAnyOtherIdIsAnsweredWithItsOwnHeader) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    // clang-format off
    const FrameHeader headers[] = {
        {1, 0, 77},
        {9, 7, 78},
        {2, 0, 79},
        {0, 0, 80}
    };
    // clang-format on
    for (const FrameHeader& header : headers) {
        peer.send(header, {1, 1, 1, 1, 2, 2, 2, 2});
        const auto answer = peer.receive();
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->header.step, header.step);
        EXPECT_EQ(answer->header.reserved, header.reserved);
        EXPECT_EQ(answer->header.id, header.id);
        EXPECT_EQ(answer->payload, (Payload{2, 2, 2, 2, 3, 3, 3, 3}));
    }
    EXPECT_EQ(_channel->executions, 4);
}

TEST_F(MessengerTest, FirstFrameWithIdOneIsTakenForAnAnswer) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    peer.send({1, 0, 1}, Payload(8, 6));
    ASSERT_TRUE(becomesTrue([&] { return !tracesOf(_log, "processReply", _ids.asking).empty(); }));
    EXPECT_THAT(tracesOf(_log, "processReply", _ids.asking),
                ElementsAre(trace("processReply", "P - " + _ids.asking + " - 1 - 1")));
    messenger->close();
    EXPECT_EQ(_channel->response, Payload(8, 6));
    EXPECT_EQ(_channel->executions, 0);
}

TEST_F(MessengerTest, SignalWithoutFrameDoesNothing) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    for (int i = 0; i < 3; ++i) {
        peer.sender->notify();
        EXPECT_FALSE(peer.receive(50ms));
    }
    EXPECT_EQ(_channel->executions, 0);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(MessengerTest, FifoThatStillHoldsAFrameTakesNoSecondOne) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    ASSERT_TRUE(peer.meet());
    EXPECT_FALSE(messenger->send());
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_FALSE(messenger->send());
    const std::string overrun =
        "Assertion failed: 's == 1', file ipc/IPMessageSender, line .+: message fifo " + _ids.asking + "_mem overrun";
    EXPECT_THAT(_log.errors(), ElementsAre(MatchesRegex(overrun), MatchesRegex(overrun)));
}

// ---- ids

TEST_F(MessengerTest, EachSendHasAnIdOfItsOwnAndIsTraced) {
    const auto peerChannel = std::make_shared<TestChannel>(_ids.mirrored());
    const auto messenger = test::PatientMessenger::create(_channel);
    const auto peer = test::PatientMessenger::create(peerChannel);
    ASSERT_TRUE(messenger->send());
    _log.clear();
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(messenger->send());
    const auto sent = tracesOf(_log, "processSend", _ids.asking);
    EXPECT_EQ(std::set<std::string>(sent.begin(), sent.end()).size(), 10u);
    const auto sends = tracesOf(_log, "send", _ids.asking);
    ASSERT_EQ(sends.size(), 20u);
    EXPECT_EQ(sends[0], trace("send", _ids.asking));
    EXPECT_EQ(sends[1], trace("send", _ids.asking + " - Wait returned: 1"));
}

TEST_F(MessengerTest, OneExchangeLeavesItsStepsInTheTraceOfBothSides) {
    const auto peerChannel = std::make_shared<TestChannel>(_ids.mirrored());
    const auto messenger = test::PatientMessenger::create(_channel);
    const auto peer = test::PatientMessenger::create(peerChannel);
    ASSERT_TRUE(messenger->send());
    _log.clear();
    ASSERT_TRUE(messenger->send());
    const auto steps = tracesOf(_log, "setStep", _ids.asking);
    ASSERT_EQ(steps.size(), 1u);
    const std::string id = steps[0].substr(steps[0].rfind(' ') + 1);
    const std::string one = " - 1 - " + id;
    EXPECT_THAT(tracesOf(_log, "processSend", _ids.asking),
                ElementsAre(trace("processSend", "P - " + _ids.asking + one)));
    EXPECT_THAT(tracesOf(_log, "processReply", _ids.asking),
                ElementsAre(trace("processReply", "P - " + _ids.asking + one)));
    EXPECT_THAT(tracesOf(_log, "processExec", _ids.answering),
                ElementsAre(trace("processExec", "P - " + _ids.answering + one)));
    EXPECT_THAT(tracesOf(_log, "establishedConnection", _ids.asking),
                Contains(trace("establishedConnection", "P - " + _ids.asking + " - 1")));
    for (const test::LogEntry& entry : _log.entries(LogSink::trace)) {
        EXPECT_EQ(entry.level, 5) << entry.text;
        EXPECT_EQ(entry.file, "ipc/IPMessenger") << entry.text;
    }
}

TEST_F(MessengerTest, FirstSignalCompletesTheFirstStepAndNoOther) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    ASSERT_TRUE(peer.meet());
    ASSERT_TRUE(peer.meet());
    ASSERT_TRUE(becomesTrue([&] { return !tracesOf(_log, "processWait", _ids.asking).empty(); }));
    ASSERT_TRUE(peer.meet());
    EXPECT_THAT(tracesOf(_log, "processWait", _ids.asking),
                ElementsAre(MatchesRegex(trace("processWait", "P - " + _ids.asking + " - 0 - .+"))));
}

TEST(MessageIds, AreDistinctAboveOneAndDrawnByAnyThread) {
    const auto draw = [] {
        std::vector<std::uint64_t> ids;
        for (int i = 0; i < 5000; ++i) ids.push_back(nextId());
        return ids;
    };
    auto other = std::async(std::launch::async, draw);
    std::vector<std::uint64_t> ids = draw();
    for (const std::uint64_t id : other.get()) ids.push_back(id);
    EXPECT_GT(*std::min_element(ids.begin(), ids.end()), 1u);
    // Spread over all 64 bits, not only the low ones.
    EXPECT_GT(*std::max_element(ids.begin(), ids.end()), std::uint64_t(1) << 63);
    EXPECT_EQ(std::set<std::uint64_t>(ids.begin(), ids.end()).size(), 10000u);
}

CHILD_ROLE(countsSeedTraces) {
    test::LogRecorder log;
    const test::Ids first{arguments.at(0) + "1", arguments.at(0) + "2"};
    const test::Ids second{arguments.at(0) + "3", arguments.at(0) + "4"};
    const auto a = IPMessenger::create(std::make_shared<TestChannel>(first));
    const auto b = IPMessenger::create(std::make_shared<TestChannel>(second));
    int seeds = 0;
    for (const test::LogEntry& entry : log.entries(LogSink::trace)) {
        if (!entry.text.starts_with("kest::dorven::calcSeed: seed: ")) continue;
        if (entry.level != 4 || entry.file != "ipc/IPMessenger") return 100;
        ++seeds;
    }
    return 10 + seeds;
}

TEST(MessageIds, AreSeededOnceInAProcess) {
    test::ChildProcess child("countsSeedTraces", {test::uniqueName("seed")});
    EXPECT_EQ(child.join(60s), 11);
}

// ---- nobody answers

TEST_F(MessengerTest, SendWithoutPeerIsRefusedAtOnce) {
    const auto messenger = IPMessenger::create(_channel);
    EXPECT_FALSE(messenger->send());
    EXPECT_THAT(tracesOf(_log, "processError", _ids.asking),
                ElementsAre(MatchesRegex(trace("processError", "P - " + _ids.asking + " - 1 - .+"))));
    EXPECT_THAT(tracesOf(_log, "send", _ids.asking), Contains(trace("send", _ids.asking + " - Wait returned: 1")));
}

TEST_F(MessengerTest, SendToASilentPeerGivesUpAfterTwoSeconds) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    EXPECT_THAT(secondsOf([&] { EXPECT_FALSE(messenger->send()); }), Ge(1.9));
    EXPECT_THAT(tracesOf(_log, "send", _ids.asking), Contains(trace("send", _ids.asking + " - Wait returned: -1")));
}

TEST_F(MessengerTest, RequestThatFoundNoPeerIsSentAtTheFirstSignal) {
    const auto messenger = IPMessenger::create(_channel);
    EXPECT_FALSE(messenger->send());
    _channel->request.assign(8, 0);  // the caller may use its record again
    const RawPeer peer(_ids.mirrored());
    peer.sender->notify();
    const auto frame = peer.receive();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->header.step, 1u);
    EXPECT_EQ(frame->payload, (Payload{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_FALSE(peer.receive(50ms));  // once
}

TEST_F(MessengerTest, LateAnswerIsStoredButCompletesNoLaterSend) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    EXPECT_FALSE(messenger->send());
    const auto first = peer.receive();
    ASSERT_TRUE(first);
    peer.send(first->header, Payload(8, 0x11));
    ASSERT_TRUE(becomesTrue([&] { return !tracesOf(_log, "processReply", _ids.asking).empty(); }));
    EXPECT_THAT(secondsOf([&] { EXPECT_FALSE(messenger->send()); }), Ge(1.9));
    EXPECT_EQ(_channel->response, Payload(8, 0x11));
}

TEST_F(MessengerTest, LateAnswerThatArrivesDuringTheNextSendIsNotTakenForItsOwn) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    EXPECT_FALSE(messenger->send());
    const auto first = peer.receive();
    ASSERT_TRUE(first);
    test::Gate gate;
    _channel->onResponse = [&] { gate.pass(); };  // the late answer is being read …
    peer.send(first->header, Payload(8, 0x11));
    ASSERT_TRUE(gate.awaitArrival());
    _log.clear();
    auto sent = std::async(std::launch::async, [&] { return messenger->send(); });
    ASSERT_TRUE(becomesTrue([&] { return !tracesOf(_log, "setStep", _ids.asking).empty(); }));
    std::this_thread::sleep_for(50ms);  // … while the next send begins to wait
    gate.open();
    const auto second = peer.receive();
    ASSERT_TRUE(second);
    EXPECT_NE(second->header.id, first->header.id);
    peer.send(second->header, Payload(8, 0x22));
    EXPECT_TRUE(sent.get());
    EXPECT_EQ(_channel->response, Payload(8, 0x22));
}

TEST_F(MessengerTest, LateAnswerIsNotPassedToAndFroForEver) {
    const auto peerChannel = std::make_shared<TestChannel>(_ids.mirrored());
    test::Gate gate;
    peerChannel->onExecute = [&] { gate.pass(); };
    const auto messenger = IPMessenger::create(_channel);
    const auto peer = IPMessenger::create(peerChannel);
    EXPECT_FALSE(messenger->send());  // the peer is busy …
    auto second = std::async(std::launch::async, [&] { return messenger->send(); });
    ASSERT_TRUE(becomesTrue([&] { return tracesOf(_log, "processSend", _ids.asking).size() == 2; }));
    gate.open();  // … and answers when another request is under way
    second.get();
    ASSERT_TRUE(becomesTrue([&] { return _channel->executions > 0; }));
    EXPECT_TRUE(becomesTrue([&] {
        const int before = _channel->executions;
        std::this_thread::sleep_for(100ms);
        return _channel->executions == before;
    }));
    EXPECT_EQ(_channel->executions, 1) << "of the late answer";
    EXPECT_LE(peerChannel->executions, 3) << "of two requests, and of the answer to the late answer";
    EXPECT_TRUE(messenger->send());
    EXPECT_EQ(_channel->response, (Payload{2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(MessengerTest, CompletionOfAnEarlierErrorOrAForeignOneCompletesNoSend) {
    const RawPeer peer(_ids.mirrored());
    const auto messenger = IPMessenger::create(_channel);
    auto sent = std::async(std::launch::async, [&] { return messenger->send(); });
    const auto frame = peer.receive();
    ASSERT_TRUE(frame);
    peer.send(frame->header, Payload(8, 1));
    ASSERT_TRUE(sent.get());
    MProcessEvent finished(image_road::finishedOf(_ids.asking).c_str());
    finished.Notify();
    _log.clear();
    sent = std::async(std::launch::async, [&] { return messenger->send(); });
    ASSERT_TRUE(peer.receive());  // … and is not answered
    finished.Notify();            // another messenger's of the same name
    EXPECT_FALSE(sent.get());
    EXPECT_THAT(tracesOf(_log, "send", _ids.asking), Contains(trace("send", _ids.asking + " - Wait returned: -1")));
}

}  // namespace
