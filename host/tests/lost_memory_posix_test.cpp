// What both programs report when another one truncates the ring that they use.
#include <cstring>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>

#include "mmemlinefifo.h"
#include "object_look.h"
#include "object_names.h"
#include "platform.h"
#include "programs_fixture.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

using LostMemoryTest = test::ProgramsTest;

bool hasReader() {
    const ObjectSight ring = platform_lookAtObject(image_road::kImagesMemory, sizeof(LineFifoHeader));
    LineFifoHeader header{};
    if (ring.content.size() != sizeof header) return false;
    std::memcpy(&header, ring.content.data(), sizeof header);
    return header.readerMark != 0;
}

TEST_F(LostMemoryTest, BothProgramsEndWithASentence) {
    test::ChildProcess simulator("simulatorWithOutputs", {_folder.path("ring.txt"), _folder.path("simulator.txt"),
                                                          "--size", "900x40", "--fps", "200"});
    auto host = startGrab({});
    while (!hasReader() && simulator.running() && host.running()) std::this_thread::sleep_for(1ms);
    std::filesystem::resize_file(platform_lookAtObjectFolder().path + "/" + image_road::kImagesMemory, 4096);
    EXPECT_EQ(simulator.join(60s), 1);
    const HANDLE event = OpenEventA(EVENT_ALL_ACCESS, FALSE, image_road::kImagesEvent);
    SetEvent(event);  // the host looks for images
    EXPECT_EQ(host.join(60s), 1);
    CloseHandle(event);
    EXPECT_THAT(text("simulator.txt"),
                HasSubstr("dorven-simulator: shared memory in use was cut short by another program"));
    EXPECT_THAT(people(), HasSubstr("dorven-host: shared memory in use was cut short by another program"));
}

}  // namespace
