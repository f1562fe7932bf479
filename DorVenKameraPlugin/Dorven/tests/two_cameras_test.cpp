// Two cameras on one machine: both wait for the same event, but only one can read the simulator's questions.
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenImagesComm.h"
#include "TeskImages.h"
#include "log_recorder.h"
#include "object_names.h"
#include "stepped_messenger.h"

namespace {

using namespace std::chrono_literals;
using kest::dorven::DorVenImagesComm;
using kest::dorven::ImagesMessage;
using kest::dorven::TeskImages;
using test::ChildProcess;
using test::IPMessenger;
using test::Payload;
using test::RawPeer;
using test::TestChannel;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

/// The remaining one must answer within this time.
constexpr auto kAnsweredAgain = 60s;

// ---- one process, a peer by hand

class TwoEnds : public testing::Test {
protected:
    bool isAnswered(std::uint64_t id, std::chrono::milliseconds limit = 60s) const {
        _peer.send({1, 0, id}, Payload(8, 1));
        auto answer = _peer.receive(limit);
        // Late answers from a busy machine to earlier questions.
        while (answer && answer->header.id < id) answer = _peer.receive(limit);
        return answer && answer->header.id == id;
    }
    bool isAnsweredInTime(std::uint64_t id) const {
        const auto end = std::chrono::steady_clock::now() + kAnsweredAgain;
        while (!isAnswered(id++, 500ms)) {
            if (std::chrono::steady_clock::now() > end) return false;
            _peer.receiver->wait(0.0);
        }
        return true;
    }

    test::LogRecorder _log;
    test::Ids _ids;
    RawPeer _peer{_ids.mirrored()};
};

TEST_F(TwoEnds, EachRequestIsAnsweredByTheOneThatReads) {
    const auto firstChannel = std::make_shared<TestChannel>(_ids);
    const auto secondChannel = std::make_shared<TestChannel>(_ids);
    const auto first = IPMessenger::create(firstChannel);
    ASSERT_TRUE(isAnsweredInTime(100));
    const auto second = IPMessenger::create(secondChannel);
    ASSERT_TRUE(isAnsweredInTime(200));
    for (std::uint64_t id = 1000; id < 1200; ++id) ASSERT_TRUE(isAnswered(id)) << id - 1000;
    EXPECT_EQ(secondChannel->executions, 0);
}

TEST_F(TwoEnds, SecondOneLeavesNoSignalOfTheFirst) {
    test::SteppedMessenger reader(std::make_shared<TestChannel>(_ids));
    reader.timeOut();
    const auto other = IPMessenger::create(std::make_shared<TestChannel>(_ids));
    // The reader is busy; the cause of its signal must be there when it looks.
    MProcessEvent event(image_road::eventOf(_ids.answering).c_str());
    for (int signal = 0; signal < 20; ++signal) {
        event.Notify();
        std::this_thread::sleep_for(5ms);  // the other one's chance to take it
        EXPECT_EQ(event.Wait(60.0), 1) << signal;
    }
}

TEST_F(TwoEnds, SignalThatWasMeantForTheReaderIsHandedOnOnceAndNoFurtherOneIsWaitedFor) {
    _peer.sender->close();
    test::SteppedMessenger other(std::make_shared<TestChannel>(_ids));
    other.timeOut();  // nobody to read from yet
    _peer.sender->open();
    const auto reader = test::IPMessageReceiver::create(_ids.answering, 24);
    ASSERT_TRUE(reader->isConnected());
    const std::size_t waits = other.event->timeouts().size();
    other.event->answer(1);
    ASSERT_TRUE(test::becomesTrue([&] { return other.event->notifications() == 1; }));
    std::this_thread::sleep_for(1200ms);  // two looks
    EXPECT_EQ(other.event->notifications(), 1);
    EXPECT_EQ(other.event->timeouts().size(), waits) << "waited again";
    EXPECT_TRUE(reader->isConnected());
}

TEST_F(TwoEnds, ThatCameBeforeThePeerShareItWithoutALoss) {
    // Both wait before anybody can read; whoever takes the first signal reads, and the other one gets the next.
    const auto firstChannel = std::make_shared<TestChannel>(_ids);
    const auto secondChannel = std::make_shared<TestChannel>(_ids);
    _peer.sender->close();
    const auto first = IPMessenger::create(firstChannel);
    const auto second = IPMessenger::create(secondChannel);
    _peer.sender->open();
    ASSERT_TRUE(isAnsweredInTime(100));
    for (std::uint64_t id = 1000; id < 1050; ++id) ASSERT_TRUE(isAnswered(id)) << id - 1000;
    EXPECT_TRUE(firstChannel->executions == 0 || secondChannel->executions == 0);
}

TEST_F(TwoEnds, OneThatStandsByLeavesWithoutATrace) {
    const auto first = IPMessenger::create(std::make_shared<TestChannel>(_ids));
    ASSERT_TRUE(isAnsweredInTime(100));
    std::uint64_t id = 200;
    const auto leaving = [&] {
        auto second = IPMessenger::create(std::make_shared<TestChannel>(_ids));
        EXPECT_TRUE(isAnsweredInTime(id += 100));
        return test::secondsOf([&] { second.reset(); });
    };
    EXPECT_LT(test::quickestOf(8, 2.0, leaving), 2.0) << "its wake-up went to the other one";
    for (id = 2000; id < 2010; ++id) EXPECT_TRUE(isAnswered(id)) << id;
}

TEST_F(TwoEnds, OneThatStandsByTakesOverFromTheFirst) {
    auto first = IPMessenger::create(std::make_shared<TestChannel>(_ids));
    ASSERT_TRUE(isAnsweredInTime(100));
    const auto secondChannel = std::make_shared<TestChannel>(_ids);
    const auto second = IPMessenger::create(secondChannel);
    ASSERT_TRUE(isAnsweredInTime(200));
    first.reset();
    _log.clear();
    ASSERT_TRUE(isAnsweredInTime(300));
    EXPECT_GT(secondChannel->executions, 0);
    EXPECT_THAT(_log.errors(), Not(Contains(HasSubstr("fifo is not initialized")))) << "an answer went nowhere";
}

TEST_F(TwoEnds, OnlyOneReadsAfterThePeerHasLaidTheFifoAnew) {
    const auto firstChannel = std::make_shared<TestChannel>(_ids);
    const auto secondChannel = std::make_shared<TestChannel>(_ids);
    const auto first = IPMessenger::create(firstChannel);
    ASSERT_TRUE(isAnsweredInTime(100));
    const auto second = IPMessenger::create(secondChannel);
    for (std::uint64_t round = 0; round < 3; ++round) {
        _peer.sender->recreate();             // without waking anybody
        std::this_thread::sleep_for(1500ms);  // the second one takes what the first has lost
        ASSERT_TRUE(isAnsweredInTime(1000 * (round + 1)));
        const int before = firstChannel->executions + secondChannel->executions;
        for (std::uint64_t id = 0; id < 50; ++id) ASSERT_TRUE(isAnswered(10000 * (round + 1) + id)) << id;
        EXPECT_EQ(firstChannel->executions + secondChannel->executions, before + 50);
    }
}

TEST_F(TwoEnds, OneThatStandsByAndAsksAllTheSameIsToldAtOnce) {
    const auto first = IPMessenger::create(std::make_shared<TestChannel>(_ids));
    ASSERT_TRUE(isAnsweredInTime(100));
    const auto second = IPMessenger::create(std::make_shared<TestChannel>(_ids));
    EXPECT_FALSE(second->send());
}

// ---- processes

class Asker {
public:
    /// Asks again and again, because a request may meet a link that is just being created.
    bool isAnsweredAtLast() {
        _messenger->setPatient(false);
        return test::becomesTrue([this] { return asks(); }, kAnsweredAgain);
    }
    /// Asks once.
    bool isAnswered() {
        _messenger->setPatient(true);
        return asks();
    }

private:
    bool asks() { return _channel->ask({1, 0, 0, 0}).first == 1280; }

    std::shared_ptr<DorVenImagesComm> _channel = std::make_shared<DorVenImagesComm>();
    std::shared_ptr<test::PatientMessenger> _messenger = test::PatientMessenger::create(_channel);
};

CHILD_ROLE(isACamera) {
    const test::LogRecorder quiet;
    MProcessEvent ready(arguments.at(0).c_str());
    const auto source = TeskImages::create(nullptr);
    ready.Notify();
    for (;;) std::this_thread::sleep_for(1h);
}

class TwoCameras : public testing::Test {
protected:
    void start(std::optional<ChildProcess>& camera) {
        camera.emplace("isACamera", test::Arguments{_readyName});
        ASSERT_EQ(_ready.Wait(60.0), 1);
    }
    ~TwoCameras() override {
        if (_first) _first->kill();
        if (_second) _second->kill();
    }

    test::LogRecorder _log;
    std::string _readyName = test::uniqueName("ready");
    MProcessEvent _ready{_readyName.c_str()};
    std::optional<ChildProcess> _first, _second;
};

TEST_F(TwoCameras, OfTwoHostsAnswerEachQuestion) {
    start(_first);
    start(_second);
    Asker asker;
    ASSERT_TRUE(asker.isAnsweredAtLast());
    for (int question = 0; question < 200; ++question) ASSERT_TRUE(asker.isAnswered()) << question;
}

TEST_F(TwoCameras, EitherIsAnsweredInTimeAfterTheOtherWasKilled) {
    start(_first);
    Asker asker;
    ASSERT_TRUE(asker.isAnsweredAtLast());
    start(_second);
    ASSERT_TRUE(asker.isAnsweredAtLast());
    _second->kill();  // it stands by
    EXPECT_TRUE(asker.isAnsweredAtLast());
    start(_second);
    ASSERT_TRUE(asker.isAnsweredAtLast());
    _first->kill();  // it reads
    EXPECT_TRUE(asker.isAnsweredAtLast());
    start(_first);
    ASSERT_TRUE(asker.isAnsweredAtLast());
    _second->kill();
    EXPECT_TRUE(asker.isAnsweredAtLast());
    for (int question = 0; question < 20; ++question) EXPECT_TRUE(asker.isAnswered()) << question;
}

TEST_F(TwoCameras, OfOneProcessAnswerEachQuestion) {
    const auto first = TeskImages::create(nullptr);
    const auto second = TeskImages::create(nullptr);
    Asker asker;
    ASSERT_TRUE(asker.isAnsweredAtLast());
    for (int question = 0; question < 200; ++question) ASSERT_TRUE(asker.isAnswered()) << question;
}

}  // namespace
