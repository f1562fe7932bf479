#include "object_names.h"

#include <gtest/gtest.h>

namespace {

// Camera and simulator are built separately and may have different versions: these names never change.

TEST(ObjectNames, OfTheRingAreThoseThatEveryVersionKnows) {
    EXPECT_STREQ(image_road::kImagesMemory, "DorVenImages");
    EXPECT_STREQ(image_road::kImagesEvent, "DorVenImagesEvent");
    EXPECT_STREQ(image_road::kImagesWriter, "DorVenImagesWriter");
}

TEST(ObjectNames, OfTheLinkAreThoseThatEveryVersionKnows) {
    EXPECT_EQ(image_road::memoryOf(image_road::kCameraAsks), "DorVenCameraPlugin_tesk_asks_mem");
    EXPECT_EQ(image_road::eventOf(image_road::kCameraAsks), "DorVenCameraPlugin_tesk_asks_event");
    EXPECT_EQ(image_road::finishedOf(image_road::kSimulatorAsks), "DorVenCameraPlugin_dorven_asks_finished");
}

}  // namespace
