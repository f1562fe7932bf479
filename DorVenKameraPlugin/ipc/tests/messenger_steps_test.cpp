// The messenger's thread, wait by wait: a script plays its ends, so no case takes time.
#include <algorithm>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "scripted_ends.h"

namespace {

using namespace std::chrono_literals;
using test::becomesTrue;
using test::ScriptedMessenger;
using test::TestChannel;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

constexpr int kTimedOut = -1;
constexpr int kFailed = 0;
constexpr int kSignalled = 1;
constexpr int kPeerLeft = 2;
constexpr int kNotConnected = 3;

class MessengerSteps : public testing::Test {
protected:
    ~MessengerSteps() override {
        if (_started) _messenger.close();
    }

    void play(std::vector<int> statuses) {
        for (const int status : statuses) _receiver.answer(status);
        if (!_started) _messenger.start();
        _started = true;
        EXPECT_TRUE(_receiver.playToEnd());
    }
    std::vector<std::string> tracesWith(const std::string& part) const {
        std::vector<std::string> found;
        for (const std::string& text : _log.traces()) {
            if (text.find("::" + part + " - ") != std::string::npos) found.push_back(text);
        }
        return found;
    }

    test::LogRecorder _log{5};
    test::Ids _ids;
    std::shared_ptr<TestChannel> _channel = std::make_shared<TestChannel>(_ids);
    ScriptedMessenger _messenger{_channel};
    test::ScriptedReceiver& _receiver = *_messenger.receiver;
    test::ScriptedSender& _sender = *_messenger.sender;
    bool _started = false;
};

// ---- the connection, by the status of a wait

TEST_F(MessengerSteps, TimeoutOpensTheEndsThatAreNotConnected) {
    _sender.connected = false;
    _receiver.connected = false;
    EXPECT_FALSE(_messenger.establishedConnection(kTimedOut));
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender open", "receiver open"));
    _sender.connected = true;
    EXPECT_FALSE(_messenger.establishedConnection(kTimedOut));
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("receiver open"));
    _receiver.connected = true;
    EXPECT_FALSE(_messenger.establishedConnection(kTimedOut));
    EXPECT_THAT(_messenger.calls.take(), IsEmpty());
}

TEST_F(MessengerSteps, FailedWaitClosesTheReceiverThenTheSender) {
    EXPECT_FALSE(_messenger.establishedConnection(kFailed));
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("receiver close", "sender close"));
}

TEST_F(MessengerSteps, SignalIsAConnection) {
    EXPECT_TRUE(_messenger.establishedConnection(kSignalled));
    EXPECT_THAT(_messenger.calls.take(), IsEmpty());
}

TEST_F(MessengerSteps, PeerThatLeftClosesTheSender) {
    EXPECT_FALSE(_messenger.establishedConnection(kPeerLeft));
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender close"));
}

TEST_F(MessengerSteps, UnconnectedReceiverIsLeftToItself) {
    EXPECT_FALSE(_messenger.establishedConnection(kNotConnected));
    EXPECT_THAT(_messenger.calls.take(), IsEmpty());
}

TEST_F(MessengerSteps, AnyOtherStatusIsReported) {
    EXPECT_FALSE(_messenger.establishedConnection(9));
    EXPECT_THAT(_messenger.calls.take(), IsEmpty());
    EXPECT_THAT(_log.errors(), ElementsAre(MatchesRegex("Assertion failed: 'false', file ipc/IPMessenger, line .+: "
                                                        "unknown wait status: 9")));
}

TEST_F(MessengerSteps, StatusIsTraced) {
    _messenger.establishedConnection(kTimedOut);
    EXPECT_THAT(
        tracesWith("establishedConnection"),
        ElementsAre(MatchesRegex("kest::dorven::IPMessenger::establishedConnection - .* - " + _ids.asking + " - -1")));
}

// ---- passes of the thread

TEST_F(MessengerSteps, WaitsFiveSecondsEachTime) {
    play({kTimedOut, kSignalled, kNotConnected});
    EXPECT_THAT(_receiver.timeouts(), ElementsAre(5.0, 5.0, 5.0, 5.0));
}

TEST_F(MessengerSteps, WaitsThatFindNobodyAtOnceAreTenMillisecondsApart) {
    const auto begun = std::chrono::steady_clock::now();
    play(std::vector<int>(11, kNotConnected));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, 11 * 10ms);
}

TEST_F(MessengerSteps, EachFailureButATimeoutIsAnErrorStep) {
    for (const int status : {kFailed, kPeerLeft, kNotConnected, 9}) {
        SCOPED_TRACE(status);
        _log.clear();
        const int before = _messenger.finished->notifications();
        play({status, status});
        const auto errors = tracesWith("processError");
        ASSERT_EQ(errors.size(), 2u);
        EXPECT_THAT(errors[0],
                    MatchesRegex("kest::dorven::IPMessenger::processError - .* - " + _ids.asking + " - 0 - .+"));
        EXPECT_EQ(_messenger.last().step, 3u);
        EXPECT_EQ(_messenger.finished->notifications(), before + 2);
    }
}

TEST_F(MessengerSteps, TimeoutIsNoErrorStep) {
    play({kTimedOut, kTimedOut, kTimedOut});
    EXPECT_THAT(tracesWith("processError"), IsEmpty());
    EXPECT_EQ(_messenger.last().step, 0u);
    EXPECT_EQ(_messenger.last().id, 0u);
    EXPECT_EQ(_messenger.finished->notifications(), 0);
}

TEST_F(MessengerSteps, WaitStepIsCompletedByTheFirstSignalAndByNoTimeout) {
    play({kTimedOut});
    EXPECT_THAT(tracesWith("processWait"), IsEmpty());
    play({kSignalled, kSignalled});
    EXPECT_THAT(tracesWith("processWait"), ElementsAre(HasSubstr(" - " + _ids.asking + " - 0 - ")));
    EXPECT_EQ(_messenger.last().step, 0u);
    EXPECT_GT(_messenger.last().id, 1u);
    EXPECT_THAT(_messenger.calls.take(), IsEmpty());
}

TEST_F(MessengerSteps, PendingRequestSurvivesAnErrorAndIsSentOnce) {
    _messenger.setStep(1);
    play({kNotConnected, kTimedOut});
    EXPECT_THAT(_messenger.calls.take(), Not(Contains("write 16 step 1")));
    play({kSignalled, kSignalled});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("write 16 step 1", "write 8", "sender notify"));
}

TEST_F(MessengerSteps, CloseThatFallsIntoAPassIsSentLikeARequestWithItsCurrentPayload) {
    test::Gate gate;
    _channel->request = {8, 7, 6, 5, 4, 3, 2, 1};
    _receiver.onHasData = [&] { gate.pass(); };
    _receiver.answer(kSignalled);
    _messenger.start();
    ASSERT_TRUE(gate.awaitArrival());
    auto closed = std::async(std::launch::async, [&] { _messenger.close(); });
    ASSERT_TRUE(becomesTrue([&] { return tracesWith("setStep").size() == 2; }));
    gate.open();
    closed.get();
    EXPECT_THAT(_messenger.calls.take(),
                ElementsAre("write 16 step 2", "write 8", "sender notify", "receiver close", "sender close"));
    EXPECT_EQ(_sender.payload(), (test::Payload{8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST_F(MessengerSteps, PayloadIsFetchedByStepsThatMayBeSentAlone) {
    EXPECT_EQ(_channel->requestReads, 0);  // by the first step, before the channel knows its messenger
    _messenger.setStep(1);
    EXPECT_EQ(_channel->requestReads, 1);
    _messenger.setStep(2);
    EXPECT_EQ(_channel->requestReads, 2);
}

TEST_F(MessengerSteps, CloseOfAWaitingThreadSendsNothing) {
    play({kSignalled});
    _messenger.close();
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("receiver close", "sender close"));
    EXPECT_THAT(tracesWith("processClose"), ElementsAre("kest::dorven::IPMessenger::processClose - " + _ids.asking));
}

TEST_F(MessengerSteps, ThreadThatWasClosedBeforeItsFirstWaitEndsWithoutAPass) {
    _receiver.answer(kSignalled);
    std::thread closer([&] { _messenger.close(); });  // finds no thread yet
    closer.join();
    _messenger.start();
    _messenger.close();
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("receiver close", "sender close"));
    EXPECT_THAT(tracesWith("establishedConnection"), IsEmpty());
}

// ---- bringing two living sides together

TEST_F(MessengerSteps, EachSignalLooksAfterTheEnds) {
    _sender.connected = false;
    play({kSignalled});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender open"));
}

TEST_F(MessengerSteps, OneThatHasNothingToAskStaysAsItsPeerLeftIt) {
    _sender.connected = false;
    play({kPeerLeft, kNotConnected, kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender close"));
}

TEST_F(MessengerSteps, OneThatAsksOpensItsSenderAndKnocksOnceForEachDepartureOfThePeer) {
    _sender.connected = false;
    _messenger.setStep(1);
    for (const int departure : {kPeerLeft, kFailed}) {
        play({departure, kNotConnected});
        EXPECT_THAT(_messenger.calls.take(), Not(IsEmpty()));
        play({departure, kNotConnected, kNotConnected, kNotConnected});
        const auto calls = _messenger.calls.take();
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "sender notify"), 1) << departure;
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "sender open"), 3) << departure;
    }
    _messenger.setStep(1);  // another request is nothing new to the peer
    play({kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender open"));
}

TEST_F(MessengerSteps, OneThatIsReadDoesNotKnockBeforeItIsLostAgain) {
    _messenger.setStep(1);
    play({kNotConnected, kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), IsEmpty());
    _sender.connected = false;
    play({kNotConnected, kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender open", "sender notify", "sender open"));
    _sender.connected = true;
    play({kNotConnected});
    _sender.connected = false;
    play({kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender open", "sender notify"));
}

TEST_F(MessengerSteps, OneWhoseRequestIsOnItsWaySeeksNobody) {
    _messenger.setStep(1);
    play({kSignalled});
    _messenger.calls.take();
    _sender.connected = false;
    play({kPeerLeft, kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender close"));
}

TEST_F(MessengerSteps, OneThatAsksAndIsReadButHearsNothingLeavesOncePerRequestAndComesBack) {
    _messenger.setStep(1);
    play({kNotConnected});
    _messenger.milliseconds += 5499;
    play({kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), IsEmpty());
    _messenger.milliseconds += 1;
    play({kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender close", "sender notify"));
    _sender.connected = false;
    play({kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender open", "sender notify"));
    _sender.connected = true;
    play({kNotConnected});
    _messenger.milliseconds += 6000;
    play({kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), IsEmpty());  // it has left for this request already
    _messenger.setStep(1);
    play({kNotConnected});
    EXPECT_THAT(_messenger.calls.take(), ElementsAre("sender close", "sender notify"));
}

// The time without a word from the peer restarts with every word from it, and with every sign that all is well.
class DeafTime : public MessengerSteps {
protected:
    void expectNewBeginAfter(const std::function<void()>& event) {
        _messenger.setStep(1);
        play({kNotConnected});
        _messenger.milliseconds += 3000;
        event();
        _messenger.setStep(1);
        play({kNotConnected});
        _messenger.milliseconds += 3000;
        _messenger.calls.take();
        play({kNotConnected});
        EXPECT_THAT(_messenger.calls.take(), IsEmpty());
    }
};

TEST_F(DeafTime, BeginsAnewWithASignal) {
    expectNewBeginAfter([&] { play({kSignalled}); });
}

TEST_F(DeafTime, BeginsAnewWithAConnectionThatIsQuiet) {
    expectNewBeginAfter([&] { play({kTimedOut}); });
}

TEST_F(DeafTime, BeginsAnewWhenThePeerStopsReading) {
    expectNewBeginAfter([&] {
        _sender.connected = false;
        play({kNotConnected});
        _sender.connected = true;
    });
}

// ---- an outcome that its owner has not seen yet

class MessengerOutcome : public MessengerSteps {
protected:
    // The peer gets the request and answers it before this thread waits for the answer.
    void answerAtOnce() {
        _receiver.onNotify = [&] {
            if (_answered) return;
            _answered = true;
            play({kSignalled});
            const std::string step = tracesWith("setStep").back();
            _receiver.frame = test::FrameHeader{1, 0, std::stoull(step.substr(step.rfind(' ') + 1))};
            play({kSignalled});
        };
    }
    bool _answered = false;
};

TEST_F(MessengerOutcome, AnswerOfAPeerThatLeavesAtOnceIsAnAnswer) {
    play({});
    answerAtOnce();
    // The peer has left before this thread looks at the answer.
    _messenger.finished->onWoken = [&] { play({kPeerLeft}); };
    EXPECT_TRUE(_messenger.send());
    EXPECT_THAT(tracesWith("processError"), Not(IsEmpty()));
}

TEST_F(MessengerOutcome, ErrorAfterTheAnswerWasSeenIsTheLastOutcome) {
    play({});
    answerAtOnce();
    EXPECT_TRUE(_messenger.send());
    play({kPeerLeft});
    EXPECT_EQ(_messenger.last().step, 3u);
}

// ---- times, and signals that get lost

TEST_F(MessengerSteps, SendWaitsTwoSecondsAndCloseForEver) {
    play({});
    EXPECT_FALSE(_messenger.send());
    _messenger.close();
    EXPECT_THAT(_messenger.finished->timeouts(), ElementsAre(0.0, 2.0, 0.0, -1.0));
}

TEST_F(MessengerSteps, SendSetsItsStepThenClearsOldCompletionsThenWakesTheThread) {
    play({});
    std::vector<std::string> order;
    const std::size_t before = tracesWith("setStep").size();
    const auto note = [&](const std::string& what) {
        order.push_back(what + (tracesWith("setStep").size() > before ? " after the step" : ""));
    };
    _messenger.finished->onClear = [&] { note("clear"); };
    _receiver.onNotify = [&] { note("wake"); };
    _messenger.send();
    _messenger.finished->onClear = nullptr;
    _receiver.onNotify = nullptr;
    EXPECT_THAT(order, ElementsAre("clear after the step", "wake after the step"));
}

TEST_F(MessengerSteps, OneThatItsOwnChannelHasClosedSignalsItsEndOnceUntilSomebodyCloses) {
    _receiver.onHasData = [&] { _messenger.close(); };
    _receiver.answer(kSignalled);
    _messenger.start();
    _started = true;
    ASSERT_TRUE(becomesTrue([&] { return _messenger.finished->notifications() == 1; }));
    std::this_thread::sleep_for(700ms);  // three times as long as it would wait before the next one
    EXPECT_EQ(_messenger.finished->notifications(), 1);
    _messenger.close();
}

TEST_F(MessengerSteps, CloseReturnsWhenTheThreadEndedBeforeItsSignalWasCleared) {
    play({});
    // The thread wakes by itself between step and clearing, and has ended when the clearing takes its signal.
    _messenger.finished->onClear = [&] {
        _receiver.answer(kTimedOut);
        ASSERT_TRUE(becomesTrue([&] { return _messenger.finished->notifications() > 0; }));
    };
    _messenger.close();
    _messenger.finished->onClear = nullptr;
    EXPECT_THAT(_messenger.finished->timeouts(), ElementsAre(0.0));
}

TEST_F(MessengerSteps, CloseReturnsWhenAnotherMessengerTakesItsSignal) {
    play({});
    _messenger.finished->loseNotifications(3);
    // The thread ends while close is already waiting for it.
    _receiver.onClose = [&] {
        EXPECT_TRUE(becomesTrue([&] { return testing::Value(_messenger.finished->timeouts(), Contains(-1.0)); }));
    };
    _messenger.close();
    EXPECT_GT(_messenger.finished->notifications(), 3);
}

// ---- events that cannot be made

/// Like an event whose name belongs to another object: each wait fails at once.
class NoEvent : public MEvent {
public:
    int Wait(double) override {
        const std::lock_guard lock(_mutex);
        _waits.push_back(std::chrono::steady_clock::now());
        return 0;
    }
    bool Notify() override { return false; }
    bool Set() override { return false; }

    std::size_t waits() const {
        const std::lock_guard lock(_mutex);
        return _waits.size();
    }
    std::chrono::duration<double> pauseAfter(std::size_t wait) const {
        const std::lock_guard lock(_mutex);
        return _waits.at(wait + 1) - _waits.at(wait);
    }

private:
    mutable std::mutex _mutex;
    std::vector<std::chrono::steady_clock::time_point> _waits;
};

class MessengerWithoutEvent : public testing::Test {
protected:
    class Messenger : public test::IPMessenger {
    public:
        Messenger(const std::shared_ptr<Comm>& comm, const std::shared_ptr<MEvent>& event) : IPMessenger(comm) {
            _receiver.reset();
            _receiver = test::IPMessageReceiver::create(comm->responseId(), comm->responseSize() + 16, event);
            start(kest::dorven::startStandardThread);
        }
        ~Messenger() override { close(); }
    };

    static std::chrono::milliseconds duePauseAfter(std::size_t wait) {
        return std::min(std::chrono::milliseconds(10) * (1 << wait), std::chrono::milliseconds(5000));
    }
    bool waitForWaits(std::size_t waits) const {
        return becomesTrue([&] { return _event->waits() >= waits; });
    }

    test::LogRecorder _log{5};
    test::Ids _ids;
    std::shared_ptr<NoEvent> _event = std::make_shared<NoEvent>();
};

TEST_F(MessengerWithoutEvent, TriesLessAndLessOftenAndSoDoesNotFillTheLog) {
    Messenger messenger(std::make_shared<TestChannel>(_ids), _event);
    ASSERT_TRUE(waitForWaits(8));
    for (std::size_t wait = 0; wait < 7; ++wait) EXPECT_GE(_event->pauseAfter(wait), duePauseAfter(wait) - 1ms);
}

TEST_F(MessengerWithoutEvent, SendEndsAPause) {
    Messenger messenger(std::make_shared<TestChannel>(_ids), _event);
    bool ended = false;
    // If a busy machine sends after a pause, the next pause is longer.
    for (std::size_t wait = 6; wait < 12 && !ended; ++wait) {
        ASSERT_TRUE(waitForWaits(wait + 1));
        EXPECT_FALSE(messenger.send());
        ASSERT_TRUE(waitForWaits(wait + 2));
        ended = _event->pauseAfter(wait) < duePauseAfter(wait);
    }
    EXPECT_TRUE(ended);
}

TEST_F(MessengerWithoutEvent, CloseEndsAPause) {
    const auto closing = [&] {
        _event = std::make_shared<NoEvent>();
        Messenger messenger(std::make_shared<TestChannel>(_ids), _event);
        EXPECT_TRUE(waitForWaits(8));  // the next pause lasts more than a second
        return test::secondsOf([&] { messenger.close(); });
    };
    EXPECT_LT(test::quickestOf(8, 1.0, closing), 1.0);
}

}  // namespace
