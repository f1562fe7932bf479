#include "image_source.h"

#include <vector>

#include <gtest/gtest.h>

#include "crc32.h"
#include "strip.h"

namespace {

using frames::ImageFormat;
using simulator::RenderedImages;

TEST(RenderedImagesTest, GiveTheCrcOfWhatTheyDrew) {
    const ImageFormat format{640, 480, 2};
    RenderedImages images(format);
    std::vector<std::uint8_t> bytes(format.bytes());
    const std::uint32_t whole = images.draw(bytes.data(), 5, std::nullopt);
    EXPECT_EQ(whole, frames::crcOutsideStrip({bytes.data(), format}));
    const std::uint32_t moved = images.draw(bytes.data(), 6, 5);
    EXPECT_EQ(moved, frames::crcOutsideStrip({bytes.data(), format}));
    EXPECT_NE(moved, whole);
    EXPECT_EQ(images.stripFlags(), frames::kStripRendered);
    EXPECT_EQ(images.format(), format);
}

}  // namespace
