// The simulator with a host that stores anything into the ring's header at any time: it writes nothing outside the
// ring, continues, and readers get images again as soon as the stores end.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <sstream>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "flood.h"
#include "log_recorder.h"
#include "object_names.h"
#include "ring_reader.h"
#include "simulator.h"

namespace {

using simulator::ImageRing;
using simulator::RenderedImages;
using simulator::Simulator;
using simulator::SimulatorOptions;
using testing::HasSubstr;
using namespace std::chrono_literals;

constexpr frames::ImageFormat kFormat{900, 20, 1};
constexpr std::size_t kLines = 6;
constexpr std::size_t kOwnWords = 6;        // of the header that somebody stores
constexpr std::uint64_t kUntouched = 0xC5;  // every byte outside the ring

std::size_t ringBytes() { return ImageRing(kFormat.bytes(), kLines).memoryBytes(); }

SimulatorOptions options() {
    SimulatorOptions options;
    options.size = kFormat;
    options.delivery.lineCount = kLines;
    options.delivery.readerTimeoutSeconds = 0;  // what brings a reader back is not its being taken for dead
    return options;
}

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

/// Memory of the ring's name with as much room after the ring as in it, which nobody may touch.
class RoomyMemory {
public:
    RoomyMemory() : _memory(static_cast<std::uint8_t*>(MSharedMem_Create(image_road::kImagesMemory, 2 * ringBytes()))) {
        std::fill(behind(), end(), kUntouched);
        std::fill(reserved(), _memory + sizeof(LineFifoHeader), kUntouched);
    }
    ~RoomyMemory() { MSharedMem_Unlink(_memory); }
    void* get() const { return _memory; }
    bool isWhole() const {
        const auto untouched = [](std::uint8_t byte) { return byte == kUntouched; };
        return std::all_of(behind(), end(), untouched) &&
               std::all_of(reserved(), _memory + sizeof(LineFifoHeader), untouched);
    }

private:
    std::uint8_t* reserved() const { return _memory + kOwnWords * sizeof(std::uint64_t); }
    std::uint8_t* behind() const { return _memory + ringBytes(); }
    std::uint8_t* end() const { return _memory + 2 * ringBytes(); }
    std::uint8_t* _memory;
};

class RingFloodTest : public testing::Test {
protected:
    RingFloodTest() { EXPECT_EQ(_simulator.openRing(), ImageRing::OpenResult::opened); }

    /// After the last store, a reader that attaches gets the next images, whole and in order.
    void expectImagesFlow() {
        test::RingReader reader(kFormat);
        _simulator.deliver(_frame++);  // which recreates the ring
        for (int round = 0; round < 3 && !reader.attach(); ++round) _simulator.deliver(_frame++);
        while (reader.take()) {
        }
        for (std::size_t count = 0; count < 3 * kLines; ++count) {
            _simulator.deliver(_frame);
            const auto image = reader.take();
            ASSERT_TRUE(image) << count;
            EXPECT_EQ(image->inspection.kind, frames::ImageKind::simulated);
            EXPECT_EQ(image->header.imageCounter, _frame++);
        }
    }

    /// Delivers and reads images while a thread calls store as often as requested.
    template <typename Store>
    void deliverDuring(Store store) {
        std::atomic<bool> ended = false;
        std::thread host([&] {
            for (std::uint64_t left = test::floodStores(); left > 0; --left) store();
            ended = true;
        });
        test::RingReader reader(kFormat);
        while (!ended) {
            _simulator.deliver(_frame++);
            if (!reader.attached()) reader.attach();
            reader.take();
        }
        host.join();
    }

    test::LogRecorder _log{3};
    RoomyMemory _memory;
    test::Flood _host{_memory.get(), ringBytes(), 24 + kFormat.bytes(), kLines, test::floodSeed()};
    SimulatorOptions _options = options();
    RenderedImages _source{kFormat};
    std::ostringstream _people;
    Simulator _simulator{_options, _source, _people};
    std::uint64_t _frame = 0;
};

TEST_F(RingFloodTest, StoresBetweenTwoImagesLeadNowhereOutOfTheRing) {
    test::RingReader reader(kFormat);
    const std::uint64_t stores = test::floodStores();
    for (std::uint64_t done = 0; done < stores && !HasFailure();) {
        for (std::uint64_t count = _host.below(40); count > 0; --count, ++done) _host.store(kOwnWords);
        _simulator.deliver(_frame++);
        if (_host.below(8) == 0 && !reader.attached()) reader.attach();
        reader.take();
        if (_frame % 1000 == 0) {
            ASSERT_TRUE(_memory.isWhole());
        }
    }
    reader.detach();
    expectImagesFlow();
    EXPECT_TRUE(_memory.isWhole());
    EXPECT_GT(_simulator.totals().ringDamaged, 0u);
    EXPECT_EQ(countOf(_people.str(), "another process has overwritten the ring's "), 1u) << _people.str();
}

TEST_F(RingFloodTest, StoresAtAnyMomentLeadNowhereOutOfTheRing) {
    deliverDuring([this] { _host.store(kOwnWords); });
    expectImagesFlow();
    EXPECT_TRUE(_memory.isWhole());
    EXPECT_GT(_simulator.totals().ringDamaged, 0u);
}

// A ring may be full at one check and have room at the next.
TEST_F(RingFloodTest, ReadIndexThatMovesAtAnyMomentTakesNoSlotAwayThatIsBeingFilled) {
    constexpr std::size_t kReadIndex = 3;
    deliverDuring([this] { _host.set(kReadIndex, _host.below(kLines + 1)); });
    expectImagesFlow();
    EXPECT_TRUE(_memory.isWhole());
    EXPECT_GT(_simulator.totals().written, 0u);
}

/// A simulator in a separate process, which draws as fast as it can until an event is set.
/// argument: the event
CHILD_ROLE(simulates) {
    const test::LogRecorder quiet(3);
    MProcessEvent stop(arguments.at(0).c_str());
    RenderedImages source(kFormat);
    std::ostringstream people;
    Simulator simulator(options(), source, people);
    if (simulator.openRing() != ImageRing::OpenResult::opened) return 1;
    const auto end = std::chrono::steady_clock::now() + 110s;  // should its test die
    for (std::uint64_t frame = 0; stop.Wait(0.0) != 1 && std::chrono::steady_clock::now() < end; ++frame)
        simulator.deliver(frame);
    return simulator.totals().ringDamaged > 0 ? 0 : 2;
}

TEST(RingFlood, StoresOfAnotherProcessDoNotEndTheSimulator) {
    const test::LogRecorder log(3);
    const std::string name = test::uniqueName("stop");
    MProcessEvent stop(name.c_str());
    test::ChildProcess child("simulates", {name});
    test::RingReader reader(kFormat);
    ASSERT_TRUE(reader.attachAtSignal());
    test::Flood host(reader.memory(), ringBytes(), 24 + kFormat.bytes(), kLines, test::floodSeed());
    for (std::uint64_t done = 0; done < test::floodStores(); ++done) host.store(kOwnWords);
    reader.detach();
    ASSERT_TRUE(child.running());
    int whole = 0;
    for (int count = 0; count < 1000 && whole < 5; ++count) {
        const auto image = reader.waitAndTake();
        ASSERT_TRUE(image);
        whole += image->inspection.kind == frames::ImageKind::simulated ? 1 : 0;
    }
    EXPECT_EQ(whole, 5);
    stop.Set();
    EXPECT_EQ(child.join(60s), 0);
}

TEST(RingFlood, TheProgramGoesOnWhileAHostStoresAnythingIntoItsRing) {
    const test::LogRecorder log(3);
    test::Arguments arguments{"--size",   "900x20",           "--lines", std::to_string(kLines), "--fps", "2000",
                              "--no-ask", "--reader-timeout", "0"};
    // All ways to recreate the ring, and every way into a slot.
    for (const char* fault : {"repeat@p:0.1", "reorder@p:0.1", "torn@p:0.1", "recreate@p:0.002",
                              "garbage-header@p:0.002", "wrong-size@p:0.002"})
        arguments.insert(arguments.end(), {"--fault", fault});
    auto program = test::ChildProcess::program("dorven-simulator", arguments);
    test::RingReader reader(kFormat);
    ASSERT_TRUE(reader.attachAtSignal());
    test::Flood host(reader.memory(), ringBytes(), 24 + kFormat.bytes(), kLines, test::floodSeed());
    for (std::uint64_t done = 0; done < test::floodStores(); ++done) host.store(kOwnWords);
    for (int count = 0; count < 20; ++count) ASSERT_TRUE(reader.waitAndTake());
    EXPECT_TRUE(program.running());
    program.kill();
}

}  // namespace
