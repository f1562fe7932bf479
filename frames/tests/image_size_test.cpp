#include "image_size.h"

#include <gtest/gtest.h>

namespace {

using frames::ImageFormat;

TEST(ImageSizeTest, WidthAndHeightAreRead) {
    ImageFormat size{1, 1, 3};
    EXPECT_TRUE(frames::parseSize("1280x1024", size));
    EXPECT_EQ(size, (ImageFormat{1280, 1024, 3})) << "bytes per pixel stay";
    EXPECT_TRUE(frames::parseSize("1X65536", size));
    EXPECT_EQ(size, (ImageFormat{1, 65536, 3}));
}

TEST(ImageSizeTest, WhatIsNoSizeIsRefused) {
    ImageFormat size;
    for (const char* text : {"", "x", "640", "640x", "x480", "0x5", "5x0", "65537x5", "5x65537", "-1x5", "5x+5", " 5x5",
                             "5x5 ", "5.0x5", "5x5x1", "99999999999999999999x5"}) {
        EXPECT_FALSE(frames::parseSize(text, size)) << text;
    }
}

TEST(ImageSizeTest, BytesPerPixelOfRawPicturesAreOneUnlessTold) {
    ImageFormat size{1, 1, 3};
    EXPECT_TRUE(frames::parseRawSize("640x480", size));
    EXPECT_EQ(size, (ImageFormat{640, 480, 1}));
    EXPECT_TRUE(frames::parseRawSize("640X480X16", size));
    EXPECT_EQ(size, (ImageFormat{640, 480, 16}));
    for (const char* text : {"640", "5x5x0", "5x5x17", "5x5x1x1", "5x5x", "x5x5"})
        EXPECT_FALSE(frames::parseRawSize(text, size)) << text;
}

}  // namespace
