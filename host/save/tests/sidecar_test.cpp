#include "sidecar.h"

#include <limits>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

TEST(SidecarTest, LineHasEveryKeyWithItsUnit) {
    NUV::IMAGEMEMORY record{};
    record.imageCounter = 17;
    record.timeStamp = 1'500'000;
    record.frameTime = 0.01;
    frames::Inspection inspection{frames::ImageKind::torn, frames::Strip{}};
    inspection.strip->frameNumber = 18;
    const host::FrameNote note = host::noteOf(record, inspection, 3, 123456789);
    EXPECT_EQ(host::sidecarLine("image_000003.png", note, {900, 40, 2}),
              "{\"schema\":1,\"file\":\"image_000003.png\",\"image\":3,\"counter\":17,\"frame_number\":18,"
              "\"time_stamp_us\":1500000,\"frame_time_us\":10000.0,\"arrival_ns\":123456789,\"kind\":\"torn\","
              "\"width_px\":900,\"height_px\":40,\"bytes_per_pixel\":2}\n");
}

TEST(SidecarTest, WhatIsNotKnownIsNull) {
    NUV::IMAGEMEMORY record{};
    record.frameTime = std::numeric_limits<double>::quiet_NaN();
    const host::FrameNote note = host::noteOf(record, {}, 0, 0);
    const auto object = nlohmann::json::parse(host::sidecarLine("\xFC.png", note, {1, 1, 1}));
    EXPECT_TRUE(object["frame_number"].is_null());
    EXPECT_TRUE(object["frame_time_us"].is_null());
    EXPECT_EQ(object["kind"], "unverified");
}

}  // namespace
