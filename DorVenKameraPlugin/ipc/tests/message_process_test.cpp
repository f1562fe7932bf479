// Both ends of a message fifo in two processes.
#include <cstring>

#include "endpoint_test.h"
#include "meeting.h"
#include "shared_memory_test.h"

using namespace std::chrono_literals;
using test::IPMessageReceiver;
using test::IPMessageSender;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr std::uint64_t kMessages = 1000;

// A header and a payload, as a messenger sends them; every word contains the number of its message.
struct Message {
    std::uint64_t head[2];
    std::uint64_t payload[3];
};
static_assert(sizeof(Message) == test::kMessageSize);

Message messageOf(std::uint64_t number) { return {{number, ~number}, {number * 3, number * 5, number * 7}}; }

// Waits until a wait returns that status; false when none does.
bool waitFor(IPMessageReceiver& receiver, int status) {
    for (int round = 0; round < 1200; ++round) {
        if (receiver.wait(0.05) == status) return true;
    }
    return false;
}

bool awaitConnection(IPMessageSender& sender) {
    for (int round = 0; round < 12000 && !sender.isConnected(); ++round)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return sender.isConnected();
}

bool send(IPMessageSender& sender, std::uint64_t number) {
    const Message message = messageOf(number);
    sender.write(message.head, sizeof message.head);
    sender.write(message.payload, sizeof message.payload);
    sender.notify();
    return true;
}

bool receive(IPMessageReceiver& receiver, std::uint64_t number) {
    if (!waitFor(receiver, 1) || !receiver.hasData()) return false;
    Message message{};
    receiver.read(message.head, sizeof message.head);
    receiver.read(message.payload, sizeof message.payload);
    const Message expected = messageOf(number);
    return std::memcmp(&message, &expected, sizeof message) == 0;
}

// Returns every message that it receives, on a separate channel.
CHILD_ROLE(answersMessages) {
    const auto receiver = IPMessageReceiver::create(arguments.at(0), test::kMessageSize);
    const auto sender = IPMessageSender::create(arguments.at(1), test::kMessageSize);
    if (!awaitConnection(*sender)) return 1;
    for (std::uint64_t number = 0; number < kMessages; ++number) {
        if (!receive(*receiver, number)) return 2;
        send(*sender, number);
    }
    // It leaves first, so that the other process sees it go, but not before its last answer was read: what still waits
    // when the sender has gone is never read.
    return test::readyAndAwaitGo(arguments) ? 0 : 3;
}

class MessageProcessTest : public test::EndpointTest {};

TEST_F(MessageProcessTest, EveryMessageIsAnsweredAndTheDepartureIsSeen) {
    const std::string answers = test::uniqueName("answers");
    const auto receiver = IPMessageReceiver::create(answers, test::kMessageSize);  // before its sender
    const auto sender = makeSender();
    const test::Meeting meeting;
    test::ChildProcess peer("answersMessages", meeting.arguments({_id, answers}));
    ASSERT_TRUE(waitFor(*receiver, -1));
    ASSERT_TRUE(awaitConnection(*sender));
    std::uint64_t number = 0;
    for (; number < kMessages; ++number) {
        send(*sender, number);
        if (!receive(*receiver, number)) break;
    }
    EXPECT_EQ(number, kMessages);
    meeting.go();
    EXPECT_EQ(peer.join(60s), 0);
    EXPECT_FALSE(sender->isConnected());
    EXPECT_EQ(receiver->wait(0.0), 2);
    EXPECT_EQ(receiver->wait(0.0), 3);
}

CHILD_ROLE(sendsOneMessageAndStays) {
    const auto sender = IPMessageSender::create(arguments.at(0), test::kMessageSize);
    if (!awaitConnection(*sender)) return 1;
    send(*sender, std::stoull(arguments.at(1)));
    return test::readyAndAwaitGo(arguments) ? 0 : 2;
}

TEST_F(MessageProcessTest, SenderThatIsKilledAndStartedAgainReachesTheSameReceiver) {
    const auto receiver = makeReceiver();
    for (std::uint64_t round = 1; round <= 5; ++round) {
        const test::Meeting meeting;
        test::ChildProcess sender("sendsOneMessageAndStays", meeting.arguments({_id, std::to_string(round)}));
        EXPECT_TRUE(receive(*receiver, round)) << "round " << round;
        meeting.awaitReady();
        sender.kill();
        EXPECT_TRUE(receiver->isConnected());  // a dead sender keeps its mark, and is silent
        EXPECT_EQ(receiver->wait(0.0), -1);
    }
}

CHILD_ROLE(attachesAsReader) {
    const auto receiver = IPMessageReceiver::create(arguments.at(0), test::kMessageSize);
    if (!receiver->isConnected()) return 1;
    return test::readyAndAwaitGo(arguments) ? 0 : 2;
}

TEST_F(MessageProcessTest, ReceiverThatIsKilledKeepsOthersOutUntilTheSenderOpensAnew) {
    const auto sender = makeSender();
    const test::Meeting meeting;
    test::ChildProcess dead("attachesAsReader", meeting.arguments({_id}));
    meeting.awaitReady();
    dead.kill();
    const auto receiver = makeReceiver();
    EXPECT_FALSE(receiver->isConnected());
    EXPECT_EQ(receiver->wait(0.0), 3);
    sender->close();
    sender->open();
    EXPECT_EQ(receiver->wait(0.0), -1);
    send(*sender, 9);
    EXPECT_TRUE(receive(*receiver, 9));
}

CHILD_ROLE(isTheSecondSender) {
    const test::LogRecorder log(4);
    const auto sender = IPMessageSender::create(arguments.at(0), test::kMessageSize);
    const std::string name = sender->memoryName();
    if (log.errorTraces() != std::vector{"MSharedMem_Create(): \"" + name.substr(0, 40) + "\" ERROR_ALREADY_EXISTS"})
        return 1;
    if (log.traces() != std::vector{"shared mem " + name + " already opened, linking..."}) return 2;
    if (!awaitConnection(*sender)) return 3;  // the reader attaches again by itself
    send(*sender, 7);
    return test::readyAndAwaitGo(arguments) ? 0 : 4;
}

TEST_F(MessageProcessTest, SecondSenderInAnotherProcessTakesTheFifoOverAndTheReceiverFollows) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    send(*sender, 1);
    const test::Meeting meeting;
    test::ChildProcess second("isTheSecondSender", meeting.arguments({_id}));
    bool received = false;  // the signal of the dropped message ends one wait
    for (int round = 0; round < 400 && !received; ++round) {
        receiver->wait(0.05);
        Message message{};
        if (receiver->isConnected() && receiver->hasData()) receiver->read(&message, sizeof message);
        received = message.head[0] == 7;
    }
    EXPECT_TRUE(received);
    meeting.awaitReady();
    meeting.go();
    EXPECT_EQ(second.join(60s), 0);
    EXPECT_EQ(receiver->wait(0.0), 2);  // it removed the mark, although the first sender still exists
    sender->open();
    EXPECT_EQ(receiver->wait(0.0), -1);
    send(*sender, 2);
    EXPECT_TRUE(receive(*receiver, 2));
}

CHILD_ROLE(holdsMemoryThatIsTooSmall) {
    const test::ForeignMemory memory(arguments.at(0), 4096);
    return test::readyAndAwaitGo(arguments) ? 0 : 1;
}

TEST_F(MessageProcessTest, MemoryOfAnotherProcessThatIsTooSmallIsUsedByNeitherEnd) {
    const test::Meeting meeting;
    test::ChildProcess holder("holdsMemoryThatIsTooSmall", meeting.arguments({_memoryName}));
    meeting.awaitReady();
    const auto sender = makeSender(5000);
    const auto receiver = makeReceiver(5000);
    const std::string text = ": shared mem too small: " + _memoryName + " 4096 < 5065";
    EXPECT_THAT(errors(), ElementsAre(testing::EndsWith(text), testing::EndsWith(text)));
    EXPECT_FALSE(sender->isConnected());
    EXPECT_FALSE(receiver->isConnected());
    meeting.go();
    EXPECT_EQ(holder.join(60s), 0);
}

}  // namespace
