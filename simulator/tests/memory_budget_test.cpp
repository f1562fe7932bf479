#include "memory_budget.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image_choice.h"
#include "image_ring.h"
#include "machine_memory.h"
#include "parsed_options.h"
#include "temporary_folder.h"

namespace {

using frames::ImageFormat;
using simulator::MemoryBudget;
using simulator::SimulatorOptions;
using simulator::test::parse;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr ImageFormat kImage{1000, 1000, 1};

SimulatorOptions withMegabytes(std::size_t megabytes) {
    SimulatorOptions options;
    options.maxMemoryMb = megabytes;
    options.size = kImage;
    options.delivery.lineCount = 8;
    return options;
}

std::string refusal(const SimulatorOptions& options) {
    std::string error;
    EXPECT_FALSE(makeImageSource(options, error));
    return error;
}

TEST(MemoryBudgetTest, DefaultIsAQuarterOfTheMachine) {
    EXPECT_EQ(MemoryBudget(parse({}).options).bytes(), platform_machineMemoryBytes() / 4);
    EXPECT_EQ(MemoryBudget(parse({"--max-memory", "12"}).options).bytes(), 12'000'000u);
}

TEST(MemoryBudgetTest, RingCountsWithTheSlotThatStaysEmpty) {
    EXPECT_THAT(MemoryBudget(withMegabytes(10)).problem(kImage, 0), IsEmpty());
    EXPECT_EQ(MemoryBudget(withMegabytes(9)).problem(kImage, 0),
              "images of 1000 x 1000 pixels, 1 byte per pixel, take 10 MB with a ring of 8, and --max-memory allows 9 "
              "MB: allow more, or take smaller images or fewer --lines");
    EXPECT_EQ(MemoryBudget(withMegabytes(9)).leftBeside(kImage), 0u);
    EXPECT_EQ(MemoryBudget(withMegabytes(10)).leftBeside(kImage),
              10'000'000 - simulator::ImageRing::memoryBytesFor(kImage.bytes(), 8));
}

TEST(MemoryBudgetTest, PatternCountsBesideTheRing) {
    SimulatorOptions options = withMegabytes(10);
    EXPECT_THAT(refusal(options), HasSubstr("take 11 MB with a ring of 8, and --max-memory allows 10 MB"));
    options.maxMemoryMb = 11;
    std::string error;
    EXPECT_TRUE(makeImageSource(options, error)) << error;
}

TEST(MemoryBudgetTest, CopiesThatFaultsNeedCount) {
    SimulatorOptions options = parse({"--size", "1000x1000", "--max-memory", "11", "--fault", "repeat@5"}).options;
    EXPECT_THAT(refusal(options), HasSubstr("take 14 MB with a ring of 8"));
    options.faults.off = true;
    std::string error;
    EXPECT_TRUE(makeImageSource(options, error)) << error;
}

TEST(MemoryBudgetTest, RoomForWhatTheCameraMayAskForCounts) {
    const SimulatorOptions asking = parse({"--max-memory", "11"}).options;
    EXPECT_THAT(MemoryBudget(asking).problem({10, 10, 1}, 0), HasSubstr("take 12 MB with a ring of 8"));
    EXPECT_THAT(MemoryBudget(parse({"--max-memory", "11", "--no-ask"}).options).problem({10, 10, 1}, 0), IsEmpty());
}

TEST(MemoryBudgetTest, SmallImagesAreNotBlamedForTheRoomThatACamerasTake) {
    const test::TemporaryFolder folder;
    const std::string small = folder.file("small.ini", "[image]\nimage_size_x=900\nimage_size_y=40\n");
    EXPECT_EQ(
        refusal(parse({"--config", small.c_str(), "--max-memory", "5"}).options),
        "images of 900 x 40 pixels, 1 byte per pixel, take 12 MB with a ring of 8 that has room for the images of a "
        "camera (1280 x 1024 pixels, 1 byte per pixel), and --max-memory allows 5 MB: allow more, give --size or "
        "--no-ask, which need no such room, or take fewer --lines");
    for (const auto& cure : {std::vector{"--size", "900x40"}, std::vector{"--no-ask"}, std::vector{"--lines", "2"}}) {
        std::vector<const char*> arguments{"--config", small.c_str(), "--max-memory", "5"};
        arguments.insert(arguments.end(), cure.begin(), cure.end());
        std::string error;
        EXPECT_TRUE(makeImageSource(parse(arguments).options, error)) << cure[0] << ": " << error;
    }
}

TEST(MemoryBudgetTest, WhatIsTakenAlreadyCounts) {
    const MemoryBudget budget(withMegabytes(20), {8'000'000, 15'000'000});
    EXPECT_EQ(budget.left(), 0u);
    EXPECT_THAT(budget.problem(kImage, 0), HasSubstr("take 23 MB with a ring of 8 and the images so far"))
        << "the larger of the two rings";
    EXPECT_THAT(MemoryBudget(withMegabytes(20), {8'000'000, 5'000'000}).problem(kImage, 0), IsEmpty());
}

TEST(MemoryBudgetTest, GreatestImagesDoNotWrap) {
    SimulatorOptions options = withMegabytes(1'000'000);
    options.delivery.lineCount = 1000;
    options.size = ImageFormat{65536, 65536, 1};
    options.bytesPerPixel = 16;
    EXPECT_THAT(refusal(options), HasSubstr("images of 65536 x 65536 pixels, 16 bytes per pixel, take 68"));
}

TEST(MemoryBudgetTest, ImagesThatTheMachineCannotHoldAreRefusedWhateverIsAllowed) {
    const std::string machine = std::to_string(platform_machineMemoryBytes() / 1'000'000);
    EXPECT_THAT(refusal(parse({"--size", "65536x65536", "--lines", "1000", "--max-memory", "1000000"}).options),
                EndsWith(" MB with a ring of 1000, and this machine has " + machine +
                         " MB: take smaller images or fewer --lines"));
    EXPECT_THAT(refusal(parse({"--size", "65536x65536", "--lines", "1000"}).options),
                HasSubstr(" MB with a ring of 1000, and --max-memory allows "));
}

TEST(MemoryBudgetTest, HugeImagesAreRefusedBeforeAnythingIsTaken) {
    EXPECT_THAT(refusal(parse({"--size", "40000x40000", "--max-memory", "1000"}).options),
                HasSubstr("images of 40000 x 40000 pixels, 1 byte per pixel, take 160"));
}

TEST(MemoryBudgetTest, PicturesCountBesideTheRing) {
    const test::TemporaryFolder folder;
    const std::string picture = folder.file("a.pgm", "P5 1000 1000 255\n" + std::string(1'000'000, 'a'));
    const auto run = [&](const char* megabytes, const char* size) {
        const auto parsed = size ? parse({"--images", picture.c_str(), "--max-memory", megabytes, "--size", size})
                                 : parse({"--images", picture.c_str(), "--max-memory", megabytes, "--no-ask"});
        std::string error;
        makeImageSource(parsed.options, error);
        return error;
    };
    EXPECT_THAT(run("9", nullptr), HasSubstr("images of 1000 x 1000 pixels, 1 byte per pixel, take 10 MB"));
    EXPECT_THAT(run("9", "1000x1000"), HasSubstr("images of 1000 x 1000 pixels, 1 byte per pixel, take 10 MB"));
    EXPECT_THAT(run("10", nullptr),
                HasSubstr("a.pgm: the pictures take more than --max-memory leaves beside the ring"));
    EXPECT_THAT(run("11", "1000x1000"),
                HasSubstr("a.pgm: has 1000 x 1000 pixels; reading it takes 4 MB or more, and 1 MB are left of "
                          "--max-memory"));
    EXPECT_THAT(run("13", nullptr), IsEmpty());
}

}  // namespace
