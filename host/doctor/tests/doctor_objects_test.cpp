#include <chrono>
#include <cstring>
#include <optional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "doctor_checks.h"
#include "image_ring.h"
#include "mmemfifo.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "named_claim.h"
#include "object_names.h"
#include "object_refusal.h"

namespace {

using host::Diagnosis;
using host::FindingLevel;
using simulator::ImageRing;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr frames::ImageFormat kFormat{900, 40, 1};
const std::string kCameraEnd = image_road::finishedOf(image_road::kCameraAsks);

// Shared memory of one name for a scope.
class Memory {
public:
    Memory(const std::string& name, std::size_t size) : _address(MSharedMem_Create(name.c_str(), size)) {}
    ~Memory() { MSharedMem_Destroy(_address); }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;
    void* address() const { return _address; }

private:
    void* _address;
};

class DoctorObjectsTest : public testing::Test {
protected:
    void examine(const std::optional<frames::ImageFormat>& expected = kFormat) {
        _findings.clear();
        host::examineObjects(expected, _findings);
    }
    // "check: text" of all findings of a level.
    std::vector<std::string> found(FindingLevel level) const {
        std::vector<std::string> texts;
        for (const Diagnosis& finding : _findings) {
            if (finding.level == level) texts.push_back(std::string(finding.check) + ": " + finding.found);
        }
        return texts;
    }
    std::vector<std::string> ok() const { return found(FindingLevel::ok); }
    std::vector<std::string> warnings() const {
        std::vector<std::string> texts = found(FindingLevel::warning);
        // Other tests run beside this one, each in a name space of its own.
        std::erase_if(texts, [](const std::string& text) { return text.find(" in name space ") != std::string::npos; });
        return texts;
    }
    std::vector<std::string> problems() const { return found(FindingLevel::problem); }

    host::Findings _findings;
};

TEST_F(DoctorObjectsTest, NothingThereIsOnlyAMissingSimulator) {
    examine();
    EXPECT_THAT(warnings(),
                testing::ElementsAre("programs: no simulator is running: the camera fakes images after 22 s"));
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_THAT(ok(), Contains("link: the camera's end is free, the simulator's end is free"));
    EXPECT_THAT(ok(), Contains("link: camera to simulator: no memory, nobody has asked yet"));
}

TEST_F(DoctorObjectsTest, SimulatorAndCameraThatRunAreWell) {
    ImageRing ring(kFormat.bytes(), 4);
    ASSERT_EQ(ring.open(), ImageRing::OpenResult::opened);
    NamedClaim camera(kCameraEnd);
    ASSERT_TRUE(camera.claim());
    void* const memory = MSharedMem_Link(image_road::kImagesMemory);
    MMemLineFifo_Link(memory);
    ASSERT_TRUE(ring.publish({1, 0, 0}));
    LineFifoHeader before{};
    std::memcpy(&before, memory, sizeof before);
    examine();
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_THAT(warnings(), IsEmpty());
    EXPECT_THAT(ok(), Contains("programs: a simulator runs"));
    EXPECT_THAT(ok(), Contains("event: \"DorVenImagesEvent\" is there"));
    EXPECT_THAT(ok(), Contains("ring: 5 slots of 36024 bytes"));
    EXPECT_THAT(ok(), Contains("ring: lines fit images of 900x40 of 1 byte"));
    EXPECT_THAT(ok(), Contains("ring: 1 of 4 images wait; within 100 ms no image came and none was taken"));
    EXPECT_THAT(ok(), Contains("ring: a writer is attached"));
    EXPECT_THAT(ok(), Contains("ring: a reader is attached"));
    EXPECT_EQ(std::memcmp(&before, memory, sizeof before), 0) << "looking changes nothing";
    const HANDLE event = OpenEventA(EVENT_ALL_ACCESS, FALSE, image_road::kImagesEvent);
    EXPECT_EQ(WaitForMultipleObjects(1, &event, FALSE, 0), WAIT_OBJECT_0) << "and takes no signal";
    CloseHandle(event);
    MMemLineFifo_Unlink(memory);
    MSharedMem_Unlink(memory);
}

TEST_F(DoctorObjectsTest, LinesOfAnotherSizeAreTold) {
    ImageRing ring(kFormat.bytes(), 4);
    ASSERT_EQ(ring.open(), ImageRing::OpenResult::opened);
    examine(frames::ImageFormat{900, 41, 1});
    ASSERT_EQ(problems().size(), 1u);
    EXPECT_EQ(problems()[0],
              "ring: lines of 36024 bytes are shorter than images of 900x41 of 1 byte, 36924 with their header");
    examine(frames::ImageFormat{10, 40, 2});
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_THAT(warnings(), testing::ElementsAre("ring: lines of 36024 bytes are longer than images of 10x40 of 2 "
                                                 "bytes, 824 with their header"));
    examine(std::nullopt);
    EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(DoctorObjectsTest, FullRingWhoseReaderTakesNothingIsAWarning) {
    ImageRing ring(kFormat.bytes(), 2);
    ASSERT_EQ(ring.open(), ImageRing::OpenResult::opened);
    NamedClaim camera(kCameraEnd);
    camera.claim();
    void* const memory = MSharedMem_Link(image_road::kImagesMemory);
    MMemLineFifo_Link(memory);
    while (ring.publish({1, 0, 0})) continue;
    examine();
    EXPECT_THAT(warnings(), Contains("ring: the ring is full and its reader takes nothing"));
    MMemLineFifo_Unlink(memory);
    MSharedMem_Unlink(memory);
}

// A simulator that is just starting has its claim first, and its memory a moment later.
TEST_F(DoctorObjectsTest, MemoryThatASimulatorIsJustMakingIsWaitedFor) {
    NamedClaim claim(image_road::kImagesWriter);
    ASSERT_TRUE(claim.claim());
    std::optional<ImageRing> ring;
    std::thread late([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        claim.release();
        ring.emplace(kFormat.bytes(), 4);
        EXPECT_EQ(ring->open(), ImageRing::OpenResult::opened);
    });
    examine(kFormat);
    late.join();
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_THAT(ok(), Contains("ring: lines fit images of 900x40 of 1 byte"));
}

TEST_F(DoctorObjectsTest, MarksOfTheDeadAreTold) {
    const Memory memory(image_road::kImagesMemory, 40000);
    MMemLineFifo_Create(memory.address(), 2, 1024);
    MMemLineFifo_Link(memory.address());
    examine(std::nullopt);
    EXPECT_THAT(warnings(), Contains(HasSubstr("ring: a writer's mark stands though no dorven-simulator runs")));
    EXPECT_THAT(warnings(), Contains(HasSubstr("ring: a reader's mark stands though no host has a camera")));
    MMemLineFifo_Unlink(memory.address());
    MMemLineFifo_Destroy(memory.address());
    examine(std::nullopt);
    EXPECT_THAT(warnings(), Contains("ring: no writer is attached: the simulator has left"));
    EXPECT_THAT(ok(), Contains("ring: no reader is attached"));
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(DoctorObjectsTest, DamagedHeaderIsAProblemAndNothingIsComputedFromIt) {
    const Memory memory(image_road::kImagesMemory, 40000);
    auto& header = *static_cast<LineFifoHeader*>(memory.address());
    const auto damage = [&](std::uint64_t length, std::uint64_t slots, std::uint64_t write, std::uint64_t read) {
        header = {1, write, 1, read, length, slots, {}};
        examine();
        return problems().empty() ? "" : problems()[0];
    };
    EXPECT_THAT(damage(23, 3, 0, 0), HasSubstr("ring: the header is damaged: 3 slots of 23 bytes are too short"));
    EXPECT_THAT(damage(1024, 1, 0, 0), HasSubstr("1 slots of 1024 bytes do not fit into "));
    EXPECT_THAT(damage(1024, 4096, 0, 0), HasSubstr("do not fit"));
    EXPECT_THAT(damage(UINT64_MAX, UINT64_MAX, 0, 0), HasSubstr("do not fit"));
    EXPECT_THAT(damage(1024, 3, 3, 0), HasSubstr("read index 0 and write index 3 are impossible"));
    EXPECT_THAT(damage(1024, 3, 0, UINT64_MAX), HasSubstr("are impossible"));
}

TEST_F(DoctorObjectsTest, MemoryThatNobodyLaidIsAWarning) {
    const Memory memory(image_road::kImagesMemory, 40000);
    examine();
    EXPECT_THAT(warnings(), Contains("ring: nobody has laid a ring yet"));
}

TEST_F(DoctorObjectsTest, OtherObjectsUnderTheNamesAreProblems) {
    {
        NamedClaim claim(image_road::kImagesMemory);
        ASSERT_TRUE(claim.claim());
        const Memory event(image_road::kImagesEvent, 100);
        const Memory link(image_road::memoryOf(image_road::kCameraAsks), 8);
        examine();
    }
    EXPECT_THAT(problems(), Contains("event: \"DorVenImagesEvent\" is no event"));
    EXPECT_THAT(problems(), Contains("shared memory: \"DorVenImages\" is no shared memory that can be read"));
}

TEST_F(DoctorObjectsTest, SimulatorWithoutItsObjectsIsAProblem) {
    NamedClaim simulator(image_road::kImagesWriter);
    ASSERT_TRUE(simulator.claim());
    examine();
    EXPECT_THAT(problems(),
                Contains("event: \"DorVenImagesEvent\" is missing though a simulator runs: nobody is woken"));
    EXPECT_THAT(problems(), Contains("shared memory: \"DorVenImages\" is not there: no simulator has made it"));
}

TEST_F(DoctorObjectsTest, RoomThatARingDoesNotFitIntoIsAProblem) {
    // 9 lines of 1310744 bytes and 64 of the header, in whole pages; on Linux one page more.
    const std::uint64_t needed = platform_roomFor(64 + 9 * 1310744);
    host::examineRoom({"/dev/shm", needed - 1, 67108864}, kFormat, _findings);
    EXPECT_THAT(problems(), testing::ElementsAre("room: /dev/shm has " + std::to_string(needed - 1) +
                                                 " of 67108864 bytes free; a simulator's ring of 8 images of "
                                                 "1280x1024 of 1 byte takes " +
                                                 std::to_string(needed)));
    EXPECT_THAT(_findings[0].advice, HasSubstr("fewer --lines"));
    _findings.clear();
    host::examineRoom({"/dev/shm", needed, 67108864}, std::nullopt, _findings);
    EXPECT_THAT(problems(), IsEmpty());
    EXPECT_EQ(ok().size(), 1u);
    host::examineRoom({"/dev/shm", needed, 67108864}, frames::ImageFormat{1280, 1024, 2}, _findings);
    EXPECT_THAT(problems(), testing::ElementsAre(HasSubstr("images of 1280x1024 of 2 bytes takes ")));
}

TEST_F(DoctorObjectsTest, RoomOfARingThatIsThereIsNotAskedFor) {
    const Memory memory(image_road::kImagesMemory, 40000);
    host::examineRoom({"/dev/shm", 0, 67108864}, kFormat, _findings);
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(DoctorObjectsTest, EndsOfTheLinkAndWhatWaitsAreTold) {
    NamedClaim camera(kCameraEnd);
    NamedClaim simulator(image_road::finishedOf(image_road::kSimulatorAsks));
    ASSERT_TRUE(camera.claim() && simulator.claim());
    const Memory memory(image_road::memoryOf(image_road::kSimulatorAsks), 40 + kMMemFifoOverhead);
    MMemFifo_Create(memory.address(), 40);
    MMemFifo_Write(memory.address(), "abcde", 5);
    examine();
    EXPECT_THAT(ok(), Contains("link: the camera's end is taken, the simulator's end is taken"));
    EXPECT_THAT(ok(), Contains("link: simulator to camera: writer attached, reader gone, 5 bytes wait"));
    static_cast<MMemFifo*>(memory.address())->writeOffset = 999;
    examine();
    EXPECT_THAT(warnings(), Contains("link: simulator to camera: the header is damaged"));
}

}  // namespace
