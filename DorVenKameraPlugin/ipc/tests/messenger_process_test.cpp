// Messengers in two processes: both at once, one that leaves while the other asks, and a peer that writes nonsense.
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "test_channel.h"

namespace {

using namespace std::chrono_literals;
using test::IPMessenger;
using test::Payload;
using test::TestChannel;

constexpr auto kFindEachOther = 60s;

bool askUntilAnswered(IPMessenger& messenger) {
    const auto end = std::chrono::steady_clock::now() + kFindEachOther;
    while (!messenger.send()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(50ms);
    }
    return true;
}

/// What a child needs to meet its test: the ids of its link, and the names of two events.
struct Appointment {
    Appointment() : readyName(test::uniqueName("ready")), goName(test::uniqueName("go")) {}
    explicit Appointment(const test::Arguments& arguments)
        : ids{arguments.at(0), arguments.at(1)}, readyName(arguments.at(2)), goName(arguments.at(3)) {}
    test::Arguments ofThePeer() const { return {ids.answering, ids.asking, readyName, goName}; }

    test::Ids ids;
    std::string readyName, goName;
    MProcessEvent ready{readyName.c_str()};
    MProcessEvent go{goName.c_str()};
};

// Starts when told to, asks, and ends when told to.
CHILD_ROLE(startsTogether) {
    const test::LogRecorder quiet;
    Appointment appointment(arguments);
    appointment.ready.Notify();
    if (appointment.go.Wait(60.0) != 1) return 1;
    const auto messenger = IPMessenger::create(std::make_shared<TestChannel>(appointment.ids));
    const bool answered = askUntilAnswered(*messenger);
    appointment.ready.Notify();
    if (appointment.go.Wait(60.0) != 1) return 2;
    return answered ? 0 : 3;
}

TEST(MessengerProcesses, ThatStartAtOnceFindEachOther) {
    const test::LogRecorder quiet;
    for (int round = 0; round < 5; ++round) {
        Appointment appointment;
        test::ChildProcess peer("startsTogether", appointment.ofThePeer());
        ASSERT_EQ(appointment.ready.Wait(60.0), 1);
        appointment.go.Notify();
        const auto messenger = IPMessenger::create(std::make_shared<TestChannel>(appointment.ids));
        EXPECT_TRUE(askUntilAnswered(*messenger)) << round;
        EXPECT_EQ(appointment.ready.Wait(60.0), 1);
        appointment.go.Notify();
        EXPECT_EQ(peer.join(60s), 0) << round;
    }
}

// Asks without a pause until told to stop, then only answers until told to end.
CHILD_ROLE(asksWithoutPause) {
    const test::LogRecorder quiet;
    Appointment appointment(arguments);
    const auto messenger = IPMessenger::create(std::make_shared<TestChannel>(appointment.ids));
    appointment.ready.Notify();
    while (appointment.go.Wait(0.0) != 1) messenger->send();
    appointment.ready.Notify();
    return appointment.go.Wait(60.0) == 1 ? 0 : 1;
}

TEST(MessengerProcesses, OneMayCloseWhileTheOtherAsks) {
    const test::LogRecorder quiet;
    Appointment appointment;
    const auto channel = std::make_shared<TestChannel>(appointment.ids);
    test::ChildProcess peer("asksWithoutPause", appointment.ofThePeer());
    ASSERT_EQ(appointment.ready.Wait(60.0), 1);
    for (int life = 0; life < 30; ++life) {
        auto messenger = IPMessenger::create(channel);
        std::this_thread::sleep_for(1ms * (life % 7));
        messenger->close();
    }
    const auto messenger = IPMessenger::create(channel);
    channel->executions = 0;
    EXPECT_TRUE(test::becomesTrue([&] { return channel->executions > 0; }, kFindEachOther));
    // Two sides that ask at once refuse each other's answers, because a fifo holds one frame: so only one of them asks.
    appointment.go.Notify();
    ASSERT_EQ(appointment.ready.Wait(60.0), 1);
    EXPECT_TRUE(askUntilAnswered(*messenger));
    appointment.go.Notify();
    EXPECT_EQ(peer.join(60s), 0);
}

// Headers without payload, payloads without header, frames from nobody, and any other bytes.
CHILD_ROLE(writesNonsense) {
    const test::LogRecorder quiet;
    const Appointment appointment(arguments);
    const test::RawPeer peer(appointment.ids);
    if (!peer.meet()) return 1;
    std::mt19937_64 random(5);
    for (int round = 0; round < 500; ++round) {
        if (round % 3 == 0) peer.sender->recreate();  // remove incomplete frames, which would block the others
        Payload bytes(random() % 25);
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
        if (round % 3 == 0) peer.send({static_cast<std::uint32_t>(random()), 9, random()}, Payload(round % 2 ? 8 : 0));
        peer.sender->write(bytes.data(), bytes.size());
        peer.sender->notify();
        peer.receive(1ms);
    }
    return 0;
}

TEST(MessengerProcesses, NonsenseOfAPeerHarmsNobodyAndTheNextPeerIsAnswered) {
    const test::LogRecorder quiet;
    Appointment appointment;
    const auto channel = std::make_shared<TestChannel>(appointment.ids);
    const auto messenger = IPMessenger::create(channel);
    test::ChildProcess nonsense("writesNonsense", appointment.ofThePeer());
    EXPECT_EQ(nonsense.join(60s), 0);
    EXPECT_GT(channel->executions, 20);
    test::ChildProcess peer("startsTogether", appointment.ofThePeer());
    ASSERT_EQ(appointment.ready.Wait(60.0), 1);
    appointment.go.Notify();
    EXPECT_TRUE(askUntilAnswered(*messenger));
    EXPECT_EQ(appointment.ready.Wait(60.0), 1);
    appointment.go.Notify();
    EXPECT_EQ(peer.join(60s), 0);
}

}  // namespace
