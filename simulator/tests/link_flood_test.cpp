// The simulator's end of the link to the camera while a host stores anything into the memory of both directions: into
// the fifos' headers and into the messages.
#include <array>
#include <chrono>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "camera_link.h"
#include "child_process.h"
#include "fake_camera.h"
#include "flood.h"
#include "log_recorder.h"
#include "mmemfifo.h"
#include "msharedmem.h"
#include "object_names.h"

namespace {

using simulator::CameraLink;
using simulator::CameraNews;
using namespace std::chrono_literals;

const std::string kMemories[] = {image_road::memoryOf(image_road::kCameraAsks),
                                 image_road::memoryOf(image_road::kSimulatorAsks)};
constexpr std::size_t kMessageBytes = 16 + 24;
constexpr std::size_t kWords = (kMessageBytes + kMMemFifoOverhead) / 8;  // whole words in the memory

/// A camera that answers, and has another size once the flood is over.
/// arguments: the event that says so, one that ends the process
CHILD_ROLE(answers) {
    const test::LogRecorder quiet(3);
    MProcessEvent flooded(arguments.at(0).c_str());
    MProcessEvent leave(arguments.at(1).c_str());
    test::FakeCamera camera({320, 240, 1});
    if (flooded.Wait(300.0) != 1) return 1;
    camera.setFormat({300, 200, 1});
    return leave.Wait(300.0) == 1 ? 0 : 2;
}

/// A host that stores into the link's memory. It is a separate process, because neither end of the link orders its
/// accesses with a stranger's stores into a message.
/// argument: the seed
CHILD_ROLE(floodsTheLink) {
    const test::LogRecorder quiet(3);
    const auto end = std::chrono::steady_clock::now() + 60s;
    std::array<void*, 2> memories{};
    for (std::size_t index = 0; index < memories.size(); ++index) {
        while (!(memories[index] = MSharedMem_Link(kMemories[index].c_str())) && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(1ms);
    }
    if (!memories[0] || !memories[1]) return 1;
    const auto seed = static_cast<unsigned>(std::stoul(arguments.at(0)));
    test::Flood asks(memories[0], kWords * 8, kMessageBytes, kMessageBytes + 1, seed);
    test::Flood answers(memories[1], kWords * 8, kMessageBytes, kMessageBytes + 1, seed + 1);
    MProcessEvent asked(image_road::eventOf(image_road::kCameraAsks).c_str());
    MProcessEvent answered(image_road::eventOf(image_road::kSimulatorAsks).c_str());
    for (std::uint64_t done = 0; done < test::floodStores(); done += 2) {
        asks.store(kWords);
        answers.store(kWords);
        if (asks.below(test::floodStores() / 4000 + 1) != 0) continue;
        // Both sides are woken about two thousand times, so that they read the present values.
        asked.Notify();
        answered.Notify();
        std::this_thread::yield();
    }
    for (void* memory : memories) MSharedMem_Unlink(memory);
    return 0;
}

/// Waits until the camera has reported a size.
bool learns(CameraLink& link, const frames::ImageFormat& format, std::chrono::seconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        const auto news = link.takeNews();
        if (news && news->kind == CameraNews::Kind::format && news->format == format) return true;
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

TEST(LinkFlood, TheLinkIsBackWhenAHostHasEndedStoringAnythingIntoIt) {
    const test::LogRecorder log(3);
    const std::string floodedName = test::uniqueName("flooded");
    const std::string leaveName = test::uniqueName("leave");
    MProcessEvent flooded(floodedName.c_str());
    MProcessEvent leave(leaveName.c_str());
    auto link = std::make_unique<CameraLink>(simulator::AskingPace{10ms, 10ms, 400ms});
    test::ChildProcess camera("answers", {floodedName, leaveName});
    test::ChildProcess host("floodsTheLink", {std::to_string(test::floodSeed())});
    ASSERT_EQ(host.join(300s), 0);
    flooded.Set();
    EXPECT_TRUE(learns(*link, {300, 200, 1}, 60s));
    link.reset();
    leave.Set();
    EXPECT_EQ(camera.join(60s), 0);
}

}  // namespace
