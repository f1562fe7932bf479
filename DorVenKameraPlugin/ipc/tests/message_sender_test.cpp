#include <type_traits>

#include "IPMessageReceiver.h"
#include "IPMessageSender.h"
#include "endpoint_test.h"
#include "object_names.h"
#include "shared_memory_test.h"

using test::FailedAssertion;
using test::ForeignMemory;
using test::LinkedMemory;
using test::ScriptedEvent;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

const char kFile[] = "ipc/IPMessageSender";

using kest::dorven::IPMessageReceiver;
using kest::dorven::IPMessageSender;
static_assert(
    std::is_same_v<decltype(&IPMessageSender::write), void (IPMessageSender::*)(const void*, const std::size_t&)>);
static_assert(!std::is_constructible_v<IPMessageSender, std::string, std::size_t, std::shared_ptr<MEvent>>,
              "held by shared pointer only");

class IPMessageSenderTest : public test::EndpointTest {
protected:
    auto noWriter() const {
        return FailedAssertion("MMemFifo_IsWriterAttached( _mem )", kFile,
                               "fifo has no writer attached: " + _memoryName);
    }
    auto overrun() const { return FailedAssertion("s == 1", kFile, "message fifo " + _memoryName + " overrun"); }
    auto isNotInitialized() const { return FailedAssertion("_mem", kFile, "fifo is not initialized: " + _memoryName); }
};

// ----------------------------------------------------------------------------------------------- create, open, close

TEST_F(IPMessageSenderTest, CreateMakesTheMemoryAndNamesBothObjectsAfterTheChannel) {
    const auto sender = makeSender();
    EXPECT_EQ(sender->memoryName(), image_road::memoryOf(_id));
    EXPECT_EQ(sender->eventName(), image_road::eventOf(_id));
    EXPECT_FALSE(sender->isConnected());
    EXPECT_THAT(_log.entries(), IsEmpty());
    const LinkedMemory memory(_memoryName);
    ASSERT_NE(memory.bytes(), nullptr);
    EXPECT_EQ(MSharedMem_GetSize(memory.bytes()), 105u);
    EXPECT_EQ(memory.fifo()->dataSize, 41u);
    EXPECT_EQ(MMemFifo_IsWriterAttached(memory.fifo()), 1);
    EXPECT_EQ(MMemFifo_IsReaderAttached(memory.fifo()), 0);
}

TEST_F(IPMessageSenderTest, ChannelWithoutIdUsesTheBareSuffixes) {
    const auto sender = IPMessageSender::create("", 40);
    EXPECT_EQ(sender->memoryName(), "_mem");
    EXPECT_EQ(sender->eventName(), "_event");
    EXPECT_NE(LinkedMemory("_mem").bytes(), nullptr);
}

TEST_F(IPMessageSenderTest, ConnectedOnceAReceiverIsAttached) {
    const auto sender = makeSender();
    {
        const auto receiver = makeReceiver();
        EXPECT_TRUE(sender->isConnected());
        EXPECT_TRUE(receiver->isConnected());
    }
    EXPECT_FALSE(sender->isConnected());
    EXPECT_THAT(_log.entries(), IsEmpty());
}

TEST_F(IPMessageSenderTest, OpenWhenAttachedAndCloseWhenUnattachedDoNothing) {
    const auto sender = makeSender();
    write(*sender, "abc");
    sender->open();
    {
        const LinkedMemory memory(_memoryName);
        EXPECT_EQ(MMemFifo_GetUsed(memory.fifo()), 3u);
    }
    sender->close();
    EXPECT_FALSE(memoryExists());  // one link, so open took none
    _log.clear();
    sender->close();
    EXPECT_FALSE(sender->isConnected());
    EXPECT_THAT(_log.entries(), IsEmpty());
}

TEST_F(IPMessageSenderTest, CloseDetachesTheWriterAndGivesTheMemoryBack) {
    const auto sender = makeSender();
    const ForeignMemory view(_memoryName, 105);
    const auto* const fifo = reinterpret_cast<const MMemFifo*>(view.bytes());
    EXPECT_NE(fifo->writerMark, 0u);
    sender->close();
    EXPECT_EQ(fifo->writerMark, 0u);
    EXPECT_EQ(MSharedMem_GetName(fifo), nullptr);
    sender->open();
    EXPECT_NE(fifo->writerMark, 0u);
}

TEST_F(IPMessageSenderTest, DestructorDetachesLikeClose) {
    auto sender = makeSender();
    const LinkedMemory memory(_memoryName);
    sender.reset();
    EXPECT_EQ(memory.fifo()->writerMark, 0u);
}

TEST_F(IPMessageSenderTest, SecondSenderOfThisProcessLinksAndLaysTheFifoAnew) {
    const auto first = makeSender();
    write(*first, "abc");
    const auto second = makeSender();
    EXPECT_THAT(_log.errorTraces(), ElementsAre("MSharedMem_Create(): name \"" + _memoryName + "\" already exist"));
    EXPECT_THAT(traces(), ElementsAre(Pair(4, "shared mem " + _memoryName + " already opened, linking...")));
    const LinkedMemory memory(_memoryName);
    EXPECT_EQ(MMemFifo_GetUsed(memory.fifo()), 0u);
    write(*second, "de");
    write(*first, "f");  // the same fifo at the same address
    EXPECT_EQ(MMemFifo_GetUsed(memory.fifo()), 3u);
    EXPECT_EQ(std::string(memory.bytes() + 64, memory.bytes() + 67), "def");
}

TEST_F(IPMessageSenderTest, OpenAttachesAnewAfterAnotherSenderTookTheMarkWithIt) {
    const auto first = makeSender();
    makeSender();  // created and closed at once
    const LinkedMemory memory(_memoryName);
    EXPECT_EQ(memory.fifo()->writerMark, 0u);
    first->open();
    EXPECT_NE(memory.fifo()->writerMark, 0u);
    _log.clear();
    write(*first, "abc");
    EXPECT_THAT(_log.entries(), IsEmpty());
    EXPECT_EQ(MMemFifo_GetUsed(memory.fifo()), 3u);
}

TEST_F(IPMessageSenderTest, MemoryThatIsTooSmallIsReportedOnceAndNotUsed) {
    const ForeignMemory foreign(_memoryName, 4096);
    const std::vector<unsigned char> before(foreign.bytes(), foreign.bytes() + 4096);
    const auto sender = makeSender(5000);
    EXPECT_THAT(errors(), ElementsAre(FailedAssertion("MSharedMem_GetSize( mem ) >= size", kFile,
                                                      "shared mem too small: " + _memoryName + " 4096 < 5065")));
    EXPECT_FALSE(sender->isConnected());
    EXPECT_EQ(std::vector<unsigned char>(foreign.bytes(), foreign.bytes() + 4096), before);
    EXPECT_EQ(MMemFifo_IsWriterAttached(foreign.bytes()), 0);
}

TEST_F(IPMessageSenderTest, MemoryOfAnotherProcessIsUsedWhenItIsLargeEnough) {
    const ForeignMemory foreign(_memoryName, 4096);
    const auto sender = makeSender();
    EXPECT_THAT(_log.errorTraces(),
                ElementsAre("MSharedMem_Create(): \"" + _memoryName.substr(0, 40) + "\" ERROR_ALREADY_EXISTS"));
    EXPECT_THAT(traces(), ElementsAre(Pair(4, "shared mem " + _memoryName + " already opened, linking...")));
    EXPECT_EQ(MMemFifo_GetFree(foreign.bytes()), 40u);
}

TEST_F(IPMessageSenderTest, SizeThatNoFifoCanHaveLeavesTheSenderUnattached) {
    const auto sender = makeSender(SIZE_MAX);
    EXPECT_THAT(traces(),
                ElementsAre(Pair(4, "could not create fifo " + _memoryName + " of size: " + std::to_string(SIZE_MAX))));
    EXPECT_FALSE(memoryExists());
}

TEST_F(IPMessageSenderTest, MissingEventIsReported) {
    const auto sender = IPMessageSender::create(_id, test::kMessageSize, nullptr);
    EXPECT_THAT(errors(), ElementsAre(FailedAssertion("_event", kFile, "could not create event: " + _eventName)));
    const auto receiver = makeReceiver();
    EXPECT_FALSE(sender->isConnected());
    write(*sender, "abc");
    EXPECT_THAT(errors(), ElementsAre(FailedAssertion("_event", kFile, "event is not initialized: " + _eventName)));
    EXPECT_EQ(read(*receiver, 3), "abc");
    sender->notify();  // nobody to signal, nothing to report
    EXPECT_THAT(_log.entries(), IsEmpty());
}

// ----------------------------------------------------------------------------------------------------- write, notify

TEST_F(IPMessageSenderTest, MessageOfTheFullSizeFitsIntoAnEmptyFifo) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    const std::string message = "0123456789012345678901234567890123456789";
    write(*sender, message);
    EXPECT_TRUE(receiver->hasData());
    EXPECT_EQ(read(*receiver, 40), message);
    EXPECT_THAT(_log.entries(), IsEmpty());
}

TEST_F(IPMessageSenderTest, MessageThatIsTooLargeIsReportedTwiceAndNotWritten) {
    const auto sender = makeSender();
    write(*sender, std::string(41, 'x'));
    EXPECT_THAT(errors(),
                ElementsAre(FailedAssertion("size <= _size", kFile, "fifo " + _memoryName + " is too small: 41 > 40"),
                            overrun()));
    EXPECT_EQ(MMemFifo_GetUsed(LinkedMemory(_memoryName).fifo()), 0u);
}

TEST_F(IPMessageSenderTest, MessageThatIsTooLargeIsNotWrittenIntoALargerFifoEither) {
    const auto sender = makeSender();
    const LinkedMemory memory(_memoryName);
    memory.fifo()->dataSize = 100;
    write(*sender, std::string(41, 'x'));
    EXPECT_EQ(errors().size(), 2u);
    EXPECT_EQ(MMemFifo_GetUsed(memory.fifo()), 0u);
}

TEST_F(IPMessageSenderTest, MessageThatDoesNotFitAnyMoreIsAnOverrunAndChangesNothing) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    write(*sender, "0123456789ABCDEF");
    write(*sender, "abcdefghijklmnopqrstuvwx");
    write(*sender, "0123456789ABCDEF");
    EXPECT_THAT(errors(), ElementsAre(overrun()));
    EXPECT_EQ(read(*receiver, 40), "0123456789ABCDEFabcdefghijklmnopqrstuvwx");
    EXPECT_FALSE(receiver->hasData());
}

TEST_F(IPMessageSenderTest, ClosedSenderReportsEveryStepAndDoesNoHarm) {
    const auto sender = makeSender();
    sender->close();
    write(*sender, "abc");
    EXPECT_THAT(errors(), ElementsAre(isNotInitialized(), noWriter(), overrun()));
}

TEST_F(IPMessageSenderTest, EveryCheckReportsInItsOrder) {
    const auto sender = IPMessageSender::create(_id, 40, nullptr);
    sender->close();
    errors();
    write(*sender, std::string(41, 'x'));
    EXPECT_THAT(
        errors(),
        ElementsAre(FailedAssertion("_event", kFile, "event is not initialized: " + _eventName), isNotInitialized(),
                    FailedAssertion("size <= _size", kFile, "fifo " + _memoryName + " is too small: 41 > 40"),
                    noWriter(), overrun()));
}

TEST_F(IPMessageSenderTest, NothingIsWrittenAfterSomebodyClearedTheMark) {
    const auto sender = makeSender();
    const LinkedMemory memory(_memoryName);
    MMemFifo_Destroy(memory.fifo());
    write(*sender, "abc");
    EXPECT_THAT(errors(), ElementsAre(noWriter(), overrun()));
    EXPECT_EQ(MMemFifo_GetUsed(memory.fifo()), 0u);
}

TEST_F(IPMessageSenderTest, MarkOfAnotherProcessDoesNotLeadTheBytesAway) {
    const auto sender = makeSender();
    const LinkedMemory memory(_memoryName);
    memory.fifo()->writerMark = 0x1000;
    write(*sender, "abc");
    EXPECT_EQ(std::string(memory.bytes() + 64, memory.bytes() + 67), "abc");
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(IPMessageSenderTest, DamagedHeaderMakesAnOverrunAndNoByteLeavesTheMemory) {
    const auto sender = makeSender();
    const LinkedMemory memory(_memoryName);
    for (const std::uint64_t size : {std::uint64_t{42}, std::uint64_t{1} << 40, UINT64_MAX}) {
        memory.fifo()->dataSize = size;
        write(*sender, "abc");
        EXPECT_THAT(errors(), ElementsAre(overrun())) << size;
    }
    memory.fifo()->dataSize = 41;
    memory.fifo()->writeOffset = 1'000'000'000;
    write(*sender, "abc");
    EXPECT_THAT(errors(), ElementsAre(overrun()));
}

TEST_F(IPMessageSenderTest, WriteDoesNotSignalAndNotifyDoes) {
    const auto event = std::make_shared<ScriptedEvent>();
    const auto sender = IPMessageSender::create(_id, 40, event);
    write(*sender, "abc");
    EXPECT_EQ(event->notified, 0);
    sender->notify();
    EXPECT_EQ(event->notified, 1);
}

// -------------------------------------------------------------------------------------------- a fifo that is stuck

TEST_F(IPMessageSenderTest, RefusalIsRememberedUntilTheNextNotify) {
    const auto sender = makeSender();
    EXPECT_FALSE(sender->wasRefused());
    write(*sender, std::string(40, 'a'));
    EXPECT_FALSE(sender->wasRefused());
    write(*sender, "b");
    write(*sender, "");
    EXPECT_THAT(errors(), ElementsAre(overrun()));
    EXPECT_TRUE(sender->wasRefused());
    sender->notify();
    EXPECT_FALSE(sender->wasRefused());
}

TEST_F(IPMessageSenderTest, LayingAnewDropsWhatWaitsAndDetachesTheReaderWhileTheWriterStays) {
    const auto sender = makeSender();
    const auto receiver = IPMessageReceiver::create(_id, 40);
    write(*sender, std::string(40, 'a'));
    const LinkedMemory memory(_memoryName);
    sender->recreate();
    EXPECT_EQ(MMemFifo_IsWriterAttached(memory.fifo()), 1);
    EXPECT_EQ(MMemFifo_GetFree(memory.fifo()), 40u);
    EXPECT_EQ(receiver->wait(0.0), -1);  // attached again, and has not seen the writer leave
    EXPECT_TRUE(sender->isConnected());
    sender->close();
    sender->recreate();
    EXPECT_EQ(MMemFifo_IsWriterAttached(memory.fifo()), 0);
    EXPECT_EQ(receiver->wait(0.0), 2);
    EXPECT_THAT(_log.entries(), IsEmpty());
}

TEST_F(IPMessageSenderTest, OpenLaysADamagedFifoAnew) {
    const auto sender = makeSender();
    const LinkedMemory memory(_memoryName);
    EXPECT_TRUE(sender->isSound());
    for (const std::size_t offset : {8u, 24u, 32u}) {
        for (const std::uint64_t damage : {std::uint64_t{5}, std::uint64_t{1'000'000'000}}) {
            if (offset != 32 && damage == 5) continue;  // looks like what a writer or a reader stores
            *reinterpret_cast<std::uint64_t*>(memory.bytes() + offset) = damage;
            EXPECT_FALSE(sender->isSound()) << offset;
            sender->open();
            EXPECT_TRUE(sender->isSound()) << offset;
            write(*sender, std::string(40, 'a'));
            EXPECT_EQ(MMemFifo_GetUsed(memory.fifo()), 40u) << offset;
            MMemFifo_Clear(memory.fifo());
        }
    }
    EXPECT_THAT(_log.entries(), IsEmpty());
    sender->close();
    EXPECT_TRUE(sender->isSound());  // nothing there that could be damaged
}

}  // namespace
