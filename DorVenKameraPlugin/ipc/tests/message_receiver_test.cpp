#include <chrono>
#include <random>
#include <type_traits>

#include "IPMessageReceiver.h"
#include "endpoint_test.h"
#include "object_names.h"
#include "shared_memory_test.h"

using test::FailedAssertion;
using test::ForeignMemory;
using test::IPMessageSender;
using test::LinkedMemory;
using test::ScriptedEvent;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

const char kFile[] = "ipc/IPMessageReceiver";

using kest::dorven::IPMessageReceiver;
static_assert(
    std::is_same_v<decltype(&IPMessageReceiver::read), void (IPMessageReceiver::*)(void*, const std::size_t&)>);
static_assert(std::is_same_v<decltype(&IPMessageReceiver::wait), int (IPMessageReceiver::*)(const double&)>);

class IPMessageReceiverTest : public test::EndpointTest {
protected:
    auto noReader() const {
        return FailedAssertion("MMemFifo_IsReaderAttached( _mem )", kFile,
                               "fifo has no reader attached: " + _memoryName);
    }
    auto isNotInitialized() const { return FailedAssertion("_mem", kFile, "fifo is not initialized: " + _memoryName); }
};

// ----------------------------------------------------------------------------------------------- create, open, close

TEST_F(IPMessageReceiverTest, WithoutSenderItStaysUnattachedAndMakesNoMemory) {
    const auto receiver = makeReceiver();
    EXPECT_THAT(_log.errorTraces(), ElementsAre("MSharedMem_Link() failed for '" + _memoryName + "' (2)"));
    EXPECT_THAT(traces(), ElementsAre(Pair(5, "could not allocate shared mem: " + _memoryName + " 105(40)")));
    EXPECT_FALSE(receiver->isConnected());
    EXPECT_FALSE(memoryExists());
    EXPECT_EQ(receiver->memoryName(), image_road::memoryOf(_id));
    EXPECT_EQ(receiver->eventName(), image_road::eventOf(_id));
}

TEST_F(IPMessageReceiverTest, MissingMemoryIsTracedAtLevelFiveAloneAndTheRestAtFour) {
    LogCore_SetMasterLevel(4);
    makeReceiver();
    EXPECT_THAT(traces(), IsEmpty());
    const auto sender = makeSender();
    const auto otherSender = makeSender();
    const auto receiver = makeReceiver();
    const auto otherReceiver = makeReceiver();
    EXPECT_THAT(traces(), ElementsAre(Pair(4, "shared mem " + _memoryName + " already opened, linking..."),
                                      Pair(4, "could not link fifo " + _memoryName + " of size: 40")));
    LogCore_SetMasterLevel(3);
    makeReceiver();
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(IPMessageReceiverTest, AttachesToTheMemoryOfASender) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    EXPECT_TRUE(receiver->isConnected());
    EXPECT_TRUE(sender->isConnected());
    EXPECT_THAT(_log.entries(), IsEmpty());
}

TEST_F(IPMessageReceiverTest, OpenWhenAttachedAndCloseWhenUnattachedDoNothing) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    receiver->open();
    sender->close();
    receiver->close();
    EXPECT_FALSE(memoryExists());
    _log.clear();
    receiver->close();
    EXPECT_THAT(_log.entries(), IsEmpty());
}

TEST_F(IPMessageReceiverTest, CloseDetachesTheReaderAndKeepsWhatWaits) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    write(*sender, "abc");
    receiver->close();
    EXPECT_FALSE(sender->isConnected());
    receiver->open();
    EXPECT_TRUE(sender->isConnected());
    EXPECT_EQ(read(*receiver, 3), "abc");
}

TEST_F(IPMessageReceiverTest, DestructorDetachesLikeClose) {
    const auto sender = makeSender();
    makeReceiver();
    const LinkedMemory memory(_memoryName);
    EXPECT_EQ(memory.fifo()->readerMark, 0u);
    EXPECT_NE(memory.fifo()->writerMark, 0u);
}

TEST_F(IPMessageReceiverTest, SecondReceiverIsRefused) {
    const auto sender = makeSender();
    const auto first = makeReceiver();
    const auto second = makeReceiver();
    EXPECT_THAT(_log.errorTraces(),
                ElementsAre("MMemFifo_Link(): Fifo not initialized or already has an exlusive reader"));
    EXPECT_THAT(traces(), ElementsAre(Pair(4, "could not link fifo " + _memoryName + " of size: 40")));
    EXPECT_FALSE(second->isConnected());
    EXPECT_TRUE(first->isConnected());
    second->close();  // unattached: the first one's mark stays
    EXPECT_TRUE(first->isConnected());
}

TEST_F(IPMessageReceiverTest, MemoryThatIsTooSmallIsReportedOnceAndNotUsed) {
    const ForeignMemory foreign(_memoryName, 4096);
    const auto receiver = makeReceiver(5000);
    EXPECT_THAT(errors(), ElementsAre(FailedAssertion("MSharedMem_GetSize( mem ) >= size", kFile,
                                                      "shared mem too small: " + _memoryName + " 4096 < 5065")));
    EXPECT_FALSE(receiver->isConnected());
    EXPECT_EQ(MMemFifo_IsReaderAttached(foreign.bytes()), 0);
}

TEST_F(IPMessageReceiverTest, MemoryLargerThanNeededIsAccepted) {
    const auto sender = makeSender(100);
    const auto receiver = makeReceiver(40);
    EXPECT_TRUE(receiver->isConnected());
}

TEST_F(IPMessageReceiverTest, MemoryWithoutWriterIsAttachedAndLeftByTheNextWait) {
    const ForeignMemory zeros(_memoryName, 4096);
    const auto receiver = makeReceiver();
    EXPECT_EQ(MMemFifo_IsReaderAttached(zeros.bytes()), 1);
    EXPECT_FALSE(receiver->isConnected());
    EXPECT_EQ(receiver->wait(0.0), 2);
    EXPECT_EQ(MMemFifo_IsReaderAttached(zeros.bytes()), 0);
}

TEST_F(IPMessageReceiverTest, MissingEventIsReported) {
    const auto sender = makeSender();
    const auto receiver = IPMessageReceiver::create(_id, 40, nullptr);
    EXPECT_THAT(errors(), ElementsAre(FailedAssertion("_event", kFile, "could not create event: " + _eventName)));
    EXPECT_FALSE(receiver->isConnected());
    write(*sender, "abc");
    EXPECT_EQ(read(*receiver, 3), "abc");
    EXPECT_THAT(errors(), ElementsAre(FailedAssertion("_event", kFile, "event is not initialized: " + _eventName)));
    EXPECT_EQ(receiver->wait(0.0), 3);
    EXPECT_THAT(errors(), ElementsAre(FailedAssertion("_event", kFile, "invalid event: " + _eventName)));
    receiver->notify();
    EXPECT_THAT(errors(), IsEmpty());
}

// ----------------------------------------------------------------------------------------------------- hasData, read

TEST_F(IPMessageReceiverTest, DataIsThereFromTheFirstByteOn) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    EXPECT_FALSE(receiver->hasData());
    write(*sender, "a");
    EXPECT_TRUE(receiver->hasData());
    EXPECT_EQ(read(*receiver, 1), "a");
    EXPECT_FALSE(receiver->hasData());
}

TEST_F(IPMessageReceiverTest, UnattachedReceiverHasNoDataAndSaysSo) {
    const auto receiver = makeReceiver();
    EXPECT_FALSE(receiver->hasData());
    EXPECT_THAT(errors(), ElementsAre(FailedAssertion("_mem", kFile, "invalid message fifo")));
}

TEST_F(IPMessageReceiverTest, PartsAreReadOneAfterTheOther) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    write(*sender, "0123456789ABCDEFabcdefghijklmnopqrstuvwx");
    EXPECT_EQ(read(*receiver, 16), "0123456789ABCDEF");
    EXPECT_EQ(MMemFifo_GetUsed(LinkedMemory(_memoryName).fifo()), 24u);
    EXPECT_EQ(read(*receiver, 24), "abcdefghijklmnopqrstuvwx");
}

TEST_F(IPMessageReceiverTest, ShortReadIsNotReportedAndKeepsTheRestOfTheBuffer) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    write(*sender, "0123456789");
    std::string buffer(40, '.');
    const std::size_t size = 40;
    receiver->read(buffer.data(), size);
    EXPECT_EQ(buffer, "0123456789" + std::string(30, '.'));
    EXPECT_EQ(size, 40u);
    EXPECT_EQ(read(*receiver, 5), ".....");
    EXPECT_THAT(_log.entries(), IsEmpty());
}

TEST_F(IPMessageReceiverTest, UnattachedReceiverReportsAndReadsNothing) {
    const auto receiver = makeReceiver();
    EXPECT_EQ(read(*receiver, 5), ".....");
    EXPECT_THAT(errors(), ElementsAre(isNotInitialized(), noReader()));
}

TEST_F(IPMessageReceiverTest, EveryCheckReportsInItsOrder) {
    const auto receiver = IPMessageReceiver::create(_id, 40, nullptr);
    errors();
    EXPECT_EQ(read(*receiver, 41), std::string(41, '.'));
    EXPECT_THAT(
        errors(),
        ElementsAre(FailedAssertion("_event", kFile, "event is not initialized: " + _eventName), isNotInitialized(),
                    FailedAssertion("size <= _size", kFile, "fifo " + _memoryName + " is too small: 41 > 40"),
                    noReader()));
}

TEST_F(IPMessageReceiverTest, ReadOfMoreThanTheSizeIsReportedAndReadsWhatIsThere) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    write(*sender, "abc");
    EXPECT_EQ(read(*receiver, 41), "abc" + std::string(38, '.'));
    EXPECT_THAT(errors(),
                ElementsAre(FailedAssertion("size <= _size", kFile, "fifo " + _memoryName + " is too small: 41 > 40")));
}

TEST_F(IPMessageReceiverTest, NothingIsReadAfterAWriterTookTheMark) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    write(*sender, "abc");
    MMemFifo_Unlink(LinkedMemory(_memoryName).fifo());
    EXPECT_EQ(read(*receiver, 3), "...");
    EXPECT_THAT(errors(), ElementsAre(noReader()));
}

TEST_F(IPMessageReceiverTest, DamagedHeaderIsReportedAndWhatWaitsIsDropped) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    write(*sender, "abc");
    const LinkedMemory memory(_memoryName);
    memory.fifo()->readOffset = 141;
    EXPECT_EQ(read(*receiver, 3), "...");
    EXPECT_THAT(errors(), ElementsAre("kest::dorven::IPMessageReceiver::read() : message fifo " + _memoryName +
                                      " is inconsistent: what waits in it is dropped"));
    EXPECT_FALSE(receiver->hasData());
    write(*sender, "def");
    EXPECT_EQ(read(*receiver, 3), "def");
}

// A receiver attaches to memory whether or not a sender has created its fifo there.
TEST_F(IPMessageReceiverTest, ReadFromAFifoThatWasNeverLaidReadsNothingAndReportsNothing) {
    const ForeignMemory memory(_memoryName, 105);
    const auto receiver = makeReceiver();
    EXPECT_FALSE(receiver->hasData());
    EXPECT_EQ(read(*receiver, 3), "...");
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(IPMessageReceiverTest, NoGarbageInTheHeaderLeadsOutOfTheMemoryOrIntoALoop) {
    const auto event = std::make_shared<ScriptedEvent>();
    const auto sender = IPMessageSender::create(_id, 40, event);
    const auto receiver = IPMessageReceiver::create(_id, 40, event);
    const LinkedMemory memory(_memoryName);
    auto* const words = reinterpret_cast<std::uint64_t*>(memory.bytes());
    std::mt19937_64 random(11);
    const std::uint64_t values[] = {0, 1, 39, 40, 41, 42, 64, 105, 4031, 4032, 4033, 1'000'000'000, UINT64_MAX};
    for (int round = 0; round < 3000; ++round) {
        words[random() % 8] = random() % 4 == 0 ? random() : values[random() % std::size(values)];
        write(*sender, std::string(random() % 41, 'x'));
        receiver->wait(0.0);
        int reads = 0;
        for (; receiver->isConnected() && receiver->hasData() && reads < 1000; ++reads)
            read(*receiver, 1 + random() % 40);
        ASSERT_LT(reads, 1000);
        if (round % 10 == 0) sender->open();
        if (round % 100 == 99) _log.clear();
    }
    sender->close();
    receiver->close();
    sender->open();
    receiver->open();
    _log.clear();
    write(*sender, "abc");
    EXPECT_EQ(read(*receiver, 3), "abc");
    EXPECT_THAT(_log.entries(), IsEmpty());
}

// -------------------------------------------------------------------------------------------------------------- wait

TEST_F(IPMessageReceiverTest, SignalIsKeptForOneWaitHoweverManyCame) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    EXPECT_EQ(receiver->wait(0.0), -1);
    sender->notify();
    sender->notify();
    EXPECT_EQ(receiver->wait(60.0), 1);
    EXPECT_EQ(receiver->wait(0.0), -1);
}

TEST_F(IPMessageReceiverTest, WriteAloneDoesNotEndTheWait) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    write(*sender, "abc");
    EXPECT_EQ(receiver->wait(0.1), -1);
    sender->notify();
    EXPECT_EQ(receiver->wait(60.0), 1);
}

TEST_F(IPMessageReceiverTest, WaitLastsAsLongAsAsked) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(receiver->wait(0.2), -1);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(time.count(), 0.19);
}

TEST_F(IPMessageReceiverTest, OwnNotifyEndsTheWait) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    receiver->notify();
    EXPECT_EQ(receiver->wait(60.0), 1);
}

TEST_F(IPMessageReceiverTest, WithoutSenderEveryWaitAnswersThreeAfterItsTime) {
    const auto receiver = makeReceiver();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(receiver->wait(0.1), 3);
    EXPECT_GE(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(), 0.09);
    EXPECT_EQ(receiver->wait(0.1), 3);
    receiver->notify();
    EXPECT_EQ(receiver->wait(20.0), 3);  // at once
}

TEST_F(IPMessageReceiverTest, FirstWaitAfterTheSenderCameAttaches) {
    const auto receiver = makeReceiver();
    EXPECT_EQ(receiver->wait(0.0), 3);
    const auto sender = makeSender();
    EXPECT_EQ(receiver->wait(0.0), -1);
    EXPECT_TRUE(sender->isConnected());
    write(*sender, "abc");
    EXPECT_EQ(read(*receiver, 3), "abc");
}

TEST_F(IPMessageReceiverTest, DepartureOfTheSenderIsToldOnceAndUsesTheSignalUp) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    sender->notify();
    sender->close();
    EXPECT_EQ(receiver->wait(0.0), 2);
    EXPECT_FALSE(memoryExists());
    EXPECT_EQ(receiver->wait(0.0), 3);
    EXPECT_EQ(receiver->wait(0.0), 3);
    sender->open();
    EXPECT_EQ(receiver->wait(0.0), -1);
    EXPECT_TRUE(receiver->isConnected());
}

TEST_F(IPMessageReceiverTest, SenderThatLaysTheFifoAnewLosesNeitherReceiverNorMessage) {
    const auto first = makeSender();
    const auto receiver = makeReceiver();
    const auto second = makeSender();
    EXPECT_FALSE(receiver->isConnected());
    write(*second, "abc");
    second->notify();
    EXPECT_EQ(receiver->wait(60.0), 1);
    EXPECT_TRUE(receiver->isConnected());
    EXPECT_EQ(read(*receiver, 3), "abc");
    EXPECT_EQ(receiver->wait(0.0), -1);
}

TEST_F(IPMessageReceiverTest, AttachingAnewTakesNoFurtherLink) {
    auto first = makeSender();
    auto receiver = makeReceiver();
    auto second = makeSender();
    EXPECT_EQ(receiver->wait(0.0), -1);
    receiver->close();
    first->close();
    second->close();
    EXPECT_FALSE(memoryExists());
}

TEST_F(IPMessageReceiverTest, TimeIsHandedToTheEventAsItIs) {
    const auto event = std::make_shared<ScriptedEvent>();
    const auto receiver = IPMessageReceiver::create(_id, 40, event);
    receiver->wait(5.0);
    receiver->wait(-1.0);
    EXPECT_THAT(event->waits, ElementsAre(5.0, -1.0));
}

TEST_F(IPMessageReceiverTest, ResultOfTheEventIsTheResultWhileConnected) {
    const auto event = std::make_shared<ScriptedEvent>();
    const auto sender = makeSender();
    const auto receiver = IPMessageReceiver::create(_id, 40, event);
    for (const int result : {-1, 0, 1}) {
        event->result = result;
        EXPECT_EQ(receiver->wait(0.0), result);
    }
    EXPECT_THAT(_log.entries(), IsEmpty());
    for (const int result : {5, 2, -2}) {
        event->result = result;
        EXPECT_EQ(receiver->wait(0.0), 0);
        EXPECT_THAT(errors(),
                    ElementsAre(FailedAssertion("false", kFile, "unexpected wait result: " + std::to_string(result))));
    }
}

TEST_F(IPMessageReceiverTest, UnexpectedResultIsNotReportedWhileDisconnected) {
    const auto event = std::make_shared<ScriptedEvent>();
    const auto receiver = IPMessageReceiver::create(_id, 40, event);
    event->result = 5;
    EXPECT_EQ(receiver->wait(0.0), 3);
    EXPECT_THAT(errors(), IsEmpty());
}

}  // namespace
